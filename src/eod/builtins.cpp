#include "eod/builtins_internal.h"

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/objectids.h"

namespace vq::eod::detail {

namespace {
template <typename T>
boost::shared_ptr<Serializable> create() {
    return boost::shared_ptr<Serializable>(new T);
}
}  // namespace

void registerBuiltins(RegisterFunction add) {
    add(object_id::ENGINE_OUTPUT_DATA, &create<EngineOutputData>);
}

}  // namespace vq::eod::detail
