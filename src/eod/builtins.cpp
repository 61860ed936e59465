#include "eod/builtins_internal.h"

#include "eod/sharedrecord_internal.h"
#include "vq/corelog.h"  // every record class
#include "vq/eod/objectids.h"

namespace vq::eod::detail {

namespace {

constexpr bool servesSeveralIds(const char* element_name) {
    return element_name != nullptr;
}

// A new record of the class of ID: a class that serves several IDs is made with its ID.
template <typename T, char ID, bool WITH_ID>
boost::shared_ptr<Serializable> create() {
    if constexpr (WITH_ID) {
        return makeSharedRecord<T>(ID);
    } else {
        return makeSharedRecord<T>();
    }
}

}  // namespace

void registerBuiltins(RegisterFunction add) {
#define VQ_EOD_REGISTER_KIND(NAME, ID, CLASS, LOG_FILE_NAME, ELEMENT_NAME) \
    add(object_id::NAME, &create<CLASS, object_id::NAME, servesSeveralIds(ELEMENT_NAME)>);
    VQ_EOD_RECORD_KINDS(VQ_EOD_REGISTER_KIND)
#undef VQ_EOD_REGISTER_KIND
}

}  // namespace vq::eod::detail
