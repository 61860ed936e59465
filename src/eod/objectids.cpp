#include "vq/eod/objectids.h"

#include <cstddef>
#include <cstring>

#include "eod/objectids_internal.h"

namespace vq::eod::object_id {

namespace {

constexpr bool sameText(const char* a, const char* b) {
    while (*a != 0 && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

// The rows are in ascending ID, none is 0, and a class names the element of each of its IDs
// exactly when it serves several.
constexpr bool wellFormed() {
    const std::size_t count = sizeof KINDS / sizeof KINDS[0];
    for (std::size_t i = 0; i < count; ++i) {
        if (KINDS[i].id == NONE || (i > 0 && !Less()(KINDS[i - 1].id, KINDS[i].id))) {
            return false;
        }
        bool shared = false;
        for (std::size_t j = 0; j < count; ++j) {
            shared = shared || (j != i && sameText(KINDS[i].class_name, KINDS[j].class_name));
        }
        if (shared != (KINDS[i].element_name != nullptr)) {
            return false;
        }
    }
    return true;
}

static_assert(wellFormed(), "the kinds in VQ_EOD_RECORD_KINDS are out of order or mis-named");

}  // namespace

const char* className(char id) {
    const Kind* kind = findKind(id);
    return kind != nullptr ? kind->class_name : nullptr;
}

}  // namespace vq::eod::object_id

namespace vq::eod::detail {

std::string elementName(char id, const char* class_name, const char* otherwise) {
    const object_id::Kind* kind = object_id::findKind(id);
    if (kind != nullptr && kind->element_name != nullptr &&
        std::strcmp(kind->class_name, class_name) == 0) {
        return kind->element_name;
    }
    return otherwise;
}

}  // namespace vq::eod::detail
