// Frames from a tracker's TCP stream through the library's frame client.
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include "bindings.h"

namespace vqpy {

using namespace vq::eod;
using vq::eod::io::EngineOutputDataTcpClient;
using vq::eod::io::InetAddress;

namespace {

using Clock = std::chrono::steady_clock;

// Frames held in memory, serialised one after another, for a column reader.
class BufferSource : public vq::eod::io::FrameSource {
public:
    BufferSource(const ByteBuffer& bytes, const std::vector<std::size_t>& ends, std::string name)
        : _bytes(bytes), _ends(ends), _name(std::move(name)) {}

    bool next(vq::eod::io::FrameBytes& frame) override {
        if (_next >= _ends.size()) {
            return false;
        }
        const std::size_t begin = _next == 0 ? 0 : _ends[_next - 1];
        frame.data = _bytes.data() + begin;
        frame.size = _ends[_next] - begin;
        ++_next;
        return true;
    }

    std::string name() const override { return _name; }

private:
    const ByteBuffer& _bytes;
    const std::vector<std::size_t>& _ends;
    std::string _name;
    std::size_t _next = 0;
};

// Waits in slices of this length, so that Ctrl-C reaches Python between them.
constexpr int SLICE_MILLIS = 100;

class Stream {
public:
    Stream(const std::string& host, int port) : _where(host + ":" + std::to_string(port)) {
        if (port < 1 || port > 65535) {
            throw nb::value_error("port must be 1 to 65535");
        }
        withPath(_where, [&] {
            nb::gil_scoped_release release;
            _client.connect(InetAddress(port, host));
        });
    }

    // The next frame, or None once the tracker has closed the stream. Raises TimeoutError when
    // no frame arrives within `timeout` seconds (None: waits as long as it takes).
    std::optional<Frame> receive(std::optional<double> timeout) {
        std::optional<Clock::time_point> deadline;
        if (timeout) {
            deadline = Clock::now() + seconds(*timeout);
        }
        boost::shared_ptr<EngineOutputData> frame = receiveBy(deadline);
        if (frame) {
            return Frame{frame};
        }
        if (!_client.connected()) {
            return std::nullopt;
        }
        PyErr_SetString(PyExc_TimeoutError,
                        ("no frame from " + _where + " within the time limit").c_str());
        throw nb::python_error();
    }

    // The frames that arrive within `interval` seconds of the first one, at most `frames` of
    // them, as column batches of `table` (a list of batch dictionaries, see batchDict; empty
    // once the stream has ended). The wait for the first frame is bounded by `timeout` as in
    // receive(). Each frame is serialised as received and read by the column reader, so the
    // columns are those of a recording's.
    nb::list receiveBatch(std::size_t frames, std::optional<double> timeout, double interval,
                          const std::string& table,
                          const std::optional<std::vector<std::string>>& columns) {
        if (frames == 0) {
            throw nb::value_error("a batch holds at least one frame");
        }
        auto options = optionsOf(table, std::nullopt, columns, std::nullopt, std::nullopt,
                                 std::nullopt, std::nullopt, 65536);
        nb::list batches;
        std::optional<Frame> first = receive(timeout);
        if (!first) {
            return batches;
        }
        ByteBuffer bytes;
        std::vector<std::size_t> ends;
        first->data->serialize(bytes);
        ends.push_back(bytes.size());
        const Clock::time_point deadline = Clock::now() + seconds(interval);
        while (ends.size() < frames) {
            boost::shared_ptr<EngineOutputData> frame = receiveBy(deadline);
            if (!frame) {
                break;  // the interval is over or the stream has ended
            }
            frame->serialize(bytes);
            ends.push_back(bytes.size());
        }
        if (options.table == Table::FRAME) {
            options.batch_rows = ends.size();
        }
        std::vector<std::unique_ptr<vq::eod::io::FrameSource>> sources;
        sources.push_back(std::make_unique<BufferSource>(bytes, ends, _where));
        vq::eod::io::ColumnReader reader(std::move(sources), std::move(options));
        while (true) {
            auto batch = std::make_shared<vq::eod::io::ColumnBatch>();
            bool more = false;
            withPath(_where, [&] {
                nb::gil_scoped_release release;
                more = reader.next(*batch);
            });
            if (!more) {
                break;
            }
            batches.append(batchDict(std::move(batch)));
        }
        return batches;
    }

    void close() { _client.disconnect(); }
    bool connected() const { return _client.connected(); }

private:
    static Clock::duration seconds(double value) {
        return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(value));
    }

    // The next frame; null once the stream has ended or the deadline (if any) has passed.
    // Waits in slices, checking for Ctrl-C between them.
    boost::shared_ptr<EngineOutputData> receiveBy(std::optional<Clock::time_point> deadline) {
        while (_client.connected()) {
            int slice = SLICE_MILLIS;
            if (deadline) {
                const auto left =
                    std::chrono::duration_cast<std::chrono::milliseconds>(*deadline - Clock::now())
                        .count();
                slice = static_cast<int>(std::max<long long>(0, std::min<long long>(slice, left)));
            }
            boost::shared_ptr<EngineOutputData> frame;
            withPath(_where, [&] {
                nb::gil_scoped_release release;
                frame = _client.receive(slice);
            });
            if (frame) {
                return frame;
            }
            if (PyErr_CheckSignals() != 0) {
                throw nb::python_error();
            }
            if (deadline && Clock::now() >= *deadline) {
                break;
            }
        }
        return nullptr;
    }

    std::string _where;
    EngineOutputDataTcpClient _client;
};

}  // namespace

void bindLive(nb::module_& m) {
    nb::class_<Stream>(m, "FrameStream", "A connection to a tracker's TCP frame stream.")
        .def(nb::init<const std::string&, int>(), nb::arg("host"), nb::arg("port"))
        .def("receive", &Stream::receive, nb::arg("timeout").none(),
             "The next frame, or None once the stream has ended.")
        .def("receive_batch", &Stream::receiveBatch, nb::arg("frames"), nb::arg("timeout").none(),
             nb::arg("interval"), nb::arg("table"), nb::arg("columns").none(),
             "Column batches of the frames received within `interval` seconds of the first, at "
             "most `frames`; an empty list once the stream has ended.")
        .def("close", &Stream::close)
        .def_prop_ro("connected", &Stream::connected);
}

}  // namespace vqpy
