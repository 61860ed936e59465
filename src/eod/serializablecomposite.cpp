#include "vq/eod/serializablecomposite.h"

#include <iterator>
#include <utility>

#include "eod/bufferrefill_internal.h"
#include "eod/readcontext_internal.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"

namespace vq::eod {

namespace {

// Counts a composite read in the thread's read context for as long as it runs.
class NestingGuard {
public:
    NestingGuard() : _depth(detail::readContext().composite_depth) {
        if (_depth >= SerializableComposite::MAX_NESTING_DEPTH) {
            throw SerializableError(
                "SerializableComposite::readFromBuffer() - sub-objects nested too deeply.");
        }
        ++_depth;
    }
    ~NestingGuard() { --_depth; }
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;

private:
    int& _depth;
};

}  // namespace

SerializableComposite::SerializableComposite() = default;

SerializableComposite::SerializableComposite(const SerializableComposite& other)
    : Serializable(other) {
    copyFrom(other);
}

SerializableComposite& SerializableComposite::operator=(const SerializableComposite& other) {
    if (this != &other) {
        Serializable::operator=(other);
        _sub_objects.clear();
        copyFrom(other);
    }
    return *this;
}

SerializableComposite::~SerializableComposite() = default;

void SerializableComposite::copyFrom(const SerializableComposite& other) {
    for (const auto& entry : other._sub_objects) {
        boost::shared_ptr<Serializable> copy(entry.second->clone());
        const char id = copy->objectID();
        _sub_objects.emplace_hint(_sub_objects.upper_bound(id), id, copy);
    }
}

// ---- size, writing, printing -----------------------------------------------------------------

unsigned int SerializableComposite::numOwnDataBytes() const {
    return 0;
}

unsigned int SerializableComposite::numDataBytes() const {
    unsigned int total = numOwnDataBytes() + 1;
    for (const auto& entry : _sub_objects) {
        if (entry.second->serializeEnabled()) {
            total += entry.second->numTotalBytes();
        }
    }
    return total;
}

void SerializableComposite::appendOwnData(ByteBuffer& /*buffer*/) const {}

void SerializableComposite::readOwnData(const ByteBuffer& /*buffer*/, int& /*read_pos*/) {}

void SerializableComposite::appendBuffer(ByteBuffer& buffer) const {
    appendOwnData(buffer);
    // The count of the enabled sub-objects, filled in once they are written.
    const std::size_t count_pos = buffer.size();
    buffer.push_back(0);
    unsigned char count = 0;
    for (const auto& entry : _sub_objects) {
        if (entry.second->serializeEnabled()) {
            entry.second->serialize(buffer);
            ++count;
        }
    }
    buffer[count_pos] = count;
}

void SerializableComposite::printHeader(std::ostream& stream) const {
    printOwnHeader(stream);
    for (const auto& entry : _sub_objects) {
        if (entry.second->serializeEnabled()) {
            entry.second->printHeader(stream);
        }
    }
}

void SerializableComposite::printLine(std::ostream& stream) const {
    printOwnData(stream);
    for (const auto& entry : _sub_objects) {
        if (entry.second->serializeEnabled()) {
            entry.second->printLine(stream);
        }
    }
}

// ---- reading ---------------------------------------------------------------------------------

void SerializableComposite::readFromBuffer(const ByteBuffer& buffer, int& read_pos) {
    _sub_objects.clear();
    readOwnData(buffer, read_pos);
    if (read_pos < 0 || !detail::ensureAvailable(buffer, static_cast<std::size_t>(read_pos) + 1)) {
        throw SerializableError(
            "SerializableComposite::readFromBuffer() - data_size in header wrong, too much data "
            "read.");
    }
    readSubObjects(buffer, read_pos, nullptr);
}

void SerializableComposite::readFromBufferWithStatus(const ByteBuffer& buffer, int& read_pos,
                                                     unsigned int& status) {
    _sub_objects.clear();
    readOwnData(buffer, read_pos);
    if (read_pos < 0 || !detail::ensureAvailable(buffer, static_cast<std::size_t>(read_pos) + 1)) {
        status |= status::SIZE_MISMATCH;
        return;
    }
    readSubObjects(buffer, read_pos, &status);
}

// Reads the count byte and the sub-objects; with a status word the damaged and unknown ones
// are reported there and skipped, without one they raise.
void SerializableComposite::readSubObjects(const ByteBuffer& buffer, int& read_pos,
                                           unsigned int* status) {
    unsigned char count = 0;
    readValue(buffer, read_pos, count);
    NestingGuard guard;
    for (unsigned int i = 0; i < count; ++i) {
        const int before = read_pos;
        boost::shared_ptr<Serializable> object =
            status != nullptr ? SerializableFactory::newObjectWithStatus(buffer, read_pos, *status)
                              : SerializableFactory::newObject(buffer, read_pos);
        if (object && object->serializeEnabled()) {
            insertSubObject(std::move(object));
        } else if (!object && read_pos == before) {
            // A damaged sub-object leaves the position where it was and makes this composite
            // damaged too: reading the same bytes again for every remaining count would only
            // repeat the result, and nested composites would multiply those repeats. The status
            // word already says so. A sub-object never reaches beyond this composite's data, so
            // every byte is decoded once for each object that encloses it.
            break;
        }
    }
}

// ---- adding and removing ---------------------------------------------------------------------

void SerializableComposite::addSubObject(const boost::shared_ptr<Serializable>& object) {
    if (object) {
        doAddSubObject(object);
    }
}

void SerializableComposite::doAddSubObject(const boost::shared_ptr<Serializable>& object) {
    insertSubObject(object);
}

bool SerializableComposite::allowDuplicateSubObjects() const {
    return true;
}

void SerializableComposite::insertSubObject(boost::shared_ptr<Serializable> object) {
    if (!object) {
        throw SerializableError("SerializableComposite::addSubObject - Attempted to null object");
    }
    if (object.get() == this) {
        throw SerializableError(
            "SerializableComposite::addSubObject - Attempted to add a SerializableComposite "
            "object to itself");
    }
    if (_sub_objects.size() >= 255) {
        throw SerializableError("SerializableComposite::addSubObject - Too many sub-objects");
    }
    const char id = object->objectID();
    // Sub-objects are read in the order of their IDs: the place after the last one is the first
    // to try. The entry before the place, if any, is the last one with this ID or a smaller one.
    auto position = _sub_objects.end();
    if (!_sub_objects.empty() && object_id::Less()(id, _sub_objects.rbegin()->first)) {
        position = _sub_objects.upper_bound(id);
    }
    if (position != _sub_objects.begin() && std::prev(position)->first == id &&
        (object->forbidDuplicateSiblings() || !allowDuplicateSubObjects())) {
        throwDuplicateSubObject();
    }
    _sub_objects.emplace_hint(position, id, std::move(object));
}

void SerializableComposite::throwDuplicateSubObject() const {
    throw SerializableError(
        "SerializableComposite::addSubObject - Sub-object already exists in this composite");
}

void SerializableComposite::throwTypeMismatch() {
    throw SerializableError(
        "SerializableComposite::subObject() - programming error. ID does not match object type");
}

void SerializableComposite::clearSubObjects() {
    _sub_objects.clear();
}

boost::shared_ptr<Serializable> SerializableComposite::removeSubObject(char id) {
    return removeSubObjectAtIndex(id, 0);
}

boost::shared_ptr<Serializable> SerializableComposite::removeSubObjectAtIndex(char id,
                                                                              unsigned char index) {
    const auto it = findAtIndex(id, index);
    if (it == _sub_objects.end()) {
        return boost::shared_ptr<Serializable>();
    }
    boost::shared_ptr<Serializable> object = it->second;
    _sub_objects.erase(it);
    return object;
}

void SerializableComposite::removeSubObject(const Serializable& object) {
    auto range = _sub_objects.equal_range(object.objectID());
    for (auto it = range.first; it != range.second; ++it) {
        if (it->second.get() == &object) {
            _sub_objects.erase(it);
            return;
        }
    }
    throw SerializableError("SerializableComposite::removeSubObject - Sub object not present");
}

// ---- lookups ---------------------------------------------------------------------------------

bool SerializableComposite::hasSubObjectID(char id) const {
    return _sub_objects.count(id) > 0;
}

unsigned char SerializableComposite::numSubObjects() const {
    return static_cast<unsigned char>(_sub_objects.size());
}

unsigned char SerializableComposite::numSubObjects(char id) const {
    return static_cast<unsigned char>(_sub_objects.count(id));
}

unsigned char SerializableComposite::numValidSubObjects() const {
    unsigned char count = 0;
    for (const auto& entry : _sub_objects) {
        if (entry.second->serializeEnabled()) {
            ++count;
        }
    }
    return count;
}

boost::shared_ptr<Serializable> SerializableComposite::subObject(char id) {
    return subObjectAtIndex(id, 0);
}

boost::shared_ptr<const Serializable> SerializableComposite::subObject(char id) const {
    return subObjectAtIndex(id, 0);
}

SerializableComposite::SubObjectMap::iterator SerializableComposite::findAtIndex(
    char id, unsigned char index) {
    auto range = _sub_objects.equal_range(id);
    for (auto it = range.first; it != range.second; ++it, --index) {
        if (index == 0) {
            return it;
        }
    }
    return _sub_objects.end();
}

boost::shared_ptr<Serializable> SerializableComposite::subObjectAtIndex(char id,
                                                                        unsigned char index) {
    const auto it = findAtIndex(id, index);
    return it != _sub_objects.end() ? it->second : boost::shared_ptr<Serializable>();
}

boost::shared_ptr<const Serializable> SerializableComposite::subObjectAtIndex(
    char id, unsigned char index) const {
    return const_cast<SerializableComposite*>(this)->subObjectAtIndex(id, index);
}

namespace {
// The pointers of the map entries in [first, last), as pointers of type Pointer.
template <typename Pointer, typename Iterator>
std::vector<Pointer> collect(Iterator first, Iterator last) {
    std::vector<Pointer> result;
    for (; first != last; ++first) {
        result.push_back(first->second);
    }
    return result;
}
}  // namespace

std::vector<boost::shared_ptr<Serializable>> SerializableComposite::subObjects() {
    return collect<boost::shared_ptr<Serializable>>(_sub_objects.begin(), _sub_objects.end());
}

std::vector<boost::shared_ptr<const Serializable>> SerializableComposite::subObjects() const {
    return collect<boost::shared_ptr<const Serializable>>(_sub_objects.begin(), _sub_objects.end());
}

std::vector<boost::shared_ptr<Serializable>> SerializableComposite::subObjects(char id) {
    const auto range = _sub_objects.equal_range(id);
    return collect<boost::shared_ptr<Serializable>>(range.first, range.second);
}

std::vector<boost::shared_ptr<const Serializable>> SerializableComposite::subObjects(
    char id) const {
    const auto range = _sub_objects.equal_range(id);
    return collect<boost::shared_ptr<const Serializable>>(range.first, range.second);
}

}  // namespace vq::eod
