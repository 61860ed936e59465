// The frame view and the column reader on untrusted bytes: a frame the view takes exactly is one
// the record objects take, with the same frame number; the reader gives rows or the objects'
// errors, never anything else; a view reused from the input before reads as a new one.
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"
#include "vq/eod/frameview.h"
#include "vq/eod/io/columnreader.h"

namespace {

class OneFrame : public vq::eod::io::FrameSource {
public:
    OneFrame(const std::uint8_t* data, std::size_t size) : _data(data), _size(size) {}
    bool next(vq::eod::io::FrameBytes& frame) override {
        if (_done) {
            return false;
        }
        _done = true;
        frame.data = _data;
        frame.size = _size;
        return true;
    }
    std::string name() const override { return "input"; }

private:
    const std::uint8_t* _data;
    std::size_t _size;
    bool _done = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vq::eod;
    static FrameView view;  // large: not on the stack
    view.reset(data, size);
    if (view.ok() && view.bytes() > size) {
        vqfuzz::fail("the view reaches beyond its bytes");
    }
    // The view above last read the input before; one that read nothing gives the same index.
    static FrameView fresh;
    fresh.reset(nullptr, 0);
    fresh.reset(data, size);
    bool same =
        fresh.status() == view.status() && fresh.exact() == view.exact() &&
        fresh.numRecords() == view.numRecords() &&
        (!view.ok() || (fresh.bytes() == view.bytes() && fresh.frameNum() == view.frameNum()));
    for (std::size_t r = 0; same && view.ok() && r < view.numRecords(); ++r) {
        const RecordRef& a = view.record(r);
        const RecordRef& b = fresh.record(r);
        same = a.data == b.data && a.size == b.size && a.offset == b.offset &&
               a.parent == b.parent && a.object_id == b.object_id && a.depth == b.depth;
    }
    if (!same) {
        vqfuzz::fail("a view that read another frame before reads this one differently");
    }
    if (view.exact()) {
        const ByteBuffer buffer(data, data + size);
        int pos = 0;
        boost::shared_ptr<Serializable> object;
        try {
            object = SerializableFactory::newObject(buffer, pos);
        } catch (const SerializableError&) {
            vqfuzz::fail("the objects refuse a frame the view takes");
        }
        auto frame = boost::dynamic_pointer_cast<EngineOutputData>(object);
        if (!frame || frame->frameNum() != view.frameNum() ||
            static_cast<std::size_t>(pos) != view.bytes()) {
            vqfuzz::fail("the objects read a frame the view takes differently");
        }
    }
    for (Table table : {Table::FRAME, Table::GAZE_INTERSECTIONS}) {
        std::vector<std::unique_ptr<io::FrameSource>> sources;
        sources.push_back(std::make_unique<OneFrame>(data, size));
        io::ColumnReaderOptions options;
        options.table = table;
        options.batch_rows = 16;
        try {
            io::ColumnReader reader(std::move(sources), options);
            io::ColumnBatch batch;
            while (reader.next(batch)) {
            }
        } catch (const EODError&) {
        }
    }
    return 0;
}
