#include "vq/eod/engineoutputbase.h"

#include <algorithm>
#include <atomic>
#include <typeinfo>

#include "eod/engineoutputbase_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod {

namespace detail {

bool isEngineRecord(const Serializable& object) {
    // Type information of engine record classes met, filled in turn; a stale or torn slot is
    // impossible (each is one atomic pointer), and a slot overwritten only costs a cast.
    constexpr unsigned int SLOTS = 16;
    static std::atomic<const std::type_info*> known[SLOTS];
    static std::atomic<unsigned int> next{0};
    const std::type_info* const type = &typeid(object);
    for (const auto& slot : known) {
        if (slot.load(std::memory_order_relaxed) == type) {
            return true;
        }
    }
    if (dynamic_cast<const EngineOutputBase*>(&object) == nullptr) {
        return false;
    }
    known[next.fetch_add(1, std::memory_order_relaxed) % SLOTS].store(type,
                                                                      std::memory_order_relaxed);
    return true;
}

}  // namespace detail

EngineOutputBase::EngineOutputBase() : _serialize_enabled(true) {}

EngineOutputBase::EngineOutputBase(const EngineOutputBase& other)
    : SerializableComposite(other), _serialize_enabled(other._serialize_enabled) {}

EngineOutputBase& EngineOutputBase::operator=(const EngineOutputBase& other) {
    if (this != &other) {
        SerializableComposite::operator=(other);
        _serialize_enabled = other._serialize_enabled;
    }
    return *this;
}

EngineOutputBase::~EngineOutputBase() = default;

bool EngineOutputBase::serializeEnabled() const {
    return _serialize_enabled;
}

void EngineOutputBase::setSerializeEnabled(bool enabled) {
    _serialize_enabled = enabled;
}

unsigned int EngineOutputBase::numOwnDataBytes() const {
    return 1 + numEngineSpecificDataBytes();
}

void EngineOutputBase::appendOwnData(ByteBuffer& buffer) const {
    appendBuffer(buffer, _serialize_enabled);
    appendEngineSpecificData(buffer);
}

void EngineOutputBase::readOwnData(const ByteBuffer& buffer, int& read_pos) {
    readBuffer(buffer, read_pos, _serialize_enabled);
    readEngineSpecificData(buffer, read_pos);
}

void EngineOutputBase::doAddSubObject(const boost::shared_ptr<Serializable>& object) {
    if (!object || !detail::isEngineRecord(*object)) {
        throw SerializableError(
            "EngineOutputBase::addSubObject - object not derived from EngineOutputBase");
    }
    SerializableComposite::doAddSubObject(object);
}

void EngineOutputBase::setSerialableSubObjectsEnabled(const std::vector<char>& object_ids,
                                                      bool recursive) {
    // A snapshot, so that the map may change under the recursive calls.
    const SubObjectMap snapshot = subObjectMap();
    for (const auto& entry : snapshot) {
        auto* record = dynamic_cast<EngineOutputBase*>(entry.second.get());
        if (record == nullptr) {
            continue;
        }
        const bool listed =
            std::find(object_ids.begin(), object_ids.end(), record->objectID()) != object_ids.end();
        record->setSerializeEnabled(listed);
        if (recursive && listed) {
            record->setSerialableSubObjectsEnabled(object_ids, recursive);
        }
    }
}

const std::string& EngineOutputBase::eyeIdName(EyeId eye_id) {
    static const std::string names[] = {"RIGHT EYE", "LEFT EYE", "BOTH EYES"};
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 3,
               "eye_id should be either LEFT_EYE, RIGHT_EYE or BOTH_EYES");
    return names[eye_id];
}

}  // namespace vq::eod
