// Frames from a tracker's TCP stream through the library's frame client.
#include <chrono>
#include <optional>

#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>

#include "bindings.h"

namespace vqpy {

using namespace vq::eod;
using vq::eod::io::EngineOutputDataTcpClient;
using vq::eod::io::InetAddress;

namespace {

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
        if (!_client.connected()) {
            return std::nullopt;
        }
        const auto deadline = std::chrono::steady_clock::now() +
                              std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                  std::chrono::duration<double>(timeout.value_or(0)));
        while (true) {
            boost::shared_ptr<EngineOutputData> frame;
            int slice = SLICE_MILLIS;
            if (timeout) {
                const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                                      deadline - std::chrono::steady_clock::now())
                                      .count();
                slice = static_cast<int>(std::max<long long>(0, std::min<long long>(slice, left)));
            }
            withPath(_where, [&] {
                nb::gil_scoped_release release;
                frame = _client.receive(slice);
            });
            if (frame) {
                return Frame{frame};
            }
            if (!_client.connected()) {
                return std::nullopt;
            }
            if (PyErr_CheckSignals() != 0) {
                throw nb::python_error();
            }
            if (timeout && std::chrono::steady_clock::now() >= deadline) {
                PyErr_SetString(PyExc_TimeoutError,
                                ("no frame from " + _where + " within the time limit").c_str());
                throw nb::python_error();
            }
        }
    }

    void close() { _client.disconnect(); }
    bool connected() const { return _client.connected(); }

private:
    std::string _where;
    EngineOutputDataTcpClient _client;
};

}  // namespace

void bindLive(nb::module_& m) {
    nb::class_<Stream>(m, "FrameStream", "A connection to a tracker's TCP frame stream.")
        .def(nb::init<const std::string&, int>(), nb::arg("host"), nb::arg("port"))
        .def("receive", &Stream::receive, nb::arg("timeout").none(),
             "The next frame, or None once the stream has ended.")
        .def("close", &Stream::close)
        .def_prop_ro("connected", &Stream::connected);
}

}  // namespace vqpy
