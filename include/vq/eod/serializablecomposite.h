// SerializableComposite: a record that owns other records, its sub-objects, keyed by object ID.
//
// Data part of a composite (after its header):
//
//     numOwnDataBytes()   own data, written by appendOwnData
//     1 byte              number of sub-objects that follow: those whose serializeEnabled()
//     each whole object   every enabled sub-object, serialised with its own header,
//                         in ascending (signed) object ID, equal IDs in insertion order
//
// At most 255 sub-objects. Disabled sub-objects stay in the composite and are returned by the
// lookups, but are neither counted, written nor printed. Reading rebuilds each sub-object
// through SerializableFactory and drops sub-objects whose object ID is not registered, which
// keeps frames of newer writers readable. Reading also refuses sub-objects nested more than
// MAX_NESTING_DEPTH deep, so that hostile input cannot exhaust the stack.
//
// Duplicate rule: a sub-object whose forbidDuplicateSiblings() is true (the default), or any
// sub-object of a composite whose allowDuplicateSubObjects() is false, may not join a composite
// that already holds an object with its ID.
#pragma once

#include <map>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "vq/eod/objectids.h"
#include "vq/eod/serializable.h"

namespace vq::eod {

class VQ_EOD_API SerializableComposite : public Serializable {
public:
    // The sub-objects by object ID; the nodes come from a pool (poolallocation.h).
    struct SubObjectNodeTag {};
    using SubObjectMap =
        std::multimap<char, boost::shared_ptr<Serializable>, object_id::Less,
                      detail::PoolAllocator<std::pair<const char, boost::shared_ptr<Serializable>>,
                                            SubObjectNodeTag>>;

    // Deepest nesting of composites that a read accepts (a frame and its records use 4).
    static constexpr int MAX_NESTING_DEPTH = 64;

    ~SerializableComposite() override;

    unsigned int numDataBytes() const override;
    // printOwnHeader / printOwnData, then each enabled sub-object in map order.
    void printLine(std::ostream& stream) const override;
    void printHeader(std::ostream& stream) const override;

    // Size of the composite's own data (default 0).
    virtual unsigned int numOwnDataBytes() const;
    // Column titles of the own data.
    virtual void printOwnHeader(std::ostream& stream) const = 0;

    // Adds a sub-object through the doAddSubObject policy; a null pointer is ignored.
    // Raises SerializableError for the composite itself, a 256th sub-object or a forbidden
    // duplicate; the composite is then unchanged.
    void addSubObject(const boost::shared_ptr<Serializable>& object);
    void clearSubObjects();
    bool hasSubObjectID(char id) const;
    // All sub-objects, enabled or not.
    unsigned char numSubObjects() const;
    unsigned char numSubObjects(char id) const;
    // Sub-objects whose serializeEnabled() is true.
    unsigned char numValidSubObjects() const;
    // The first sub-object with this ID, or null.
    boost::shared_ptr<Serializable> subObject(char id);
    boost::shared_ptr<const Serializable> subObject(char id) const;
    // The index-th (from 0) sub-object with this ID in insertion order, or null.
    boost::shared_ptr<Serializable> subObjectAtIndex(char id, unsigned char index);
    boost::shared_ptr<const Serializable> subObjectAtIndex(char id, unsigned char index) const;
    // All sub-objects in map order / those with this ID in insertion order.
    std::vector<boost::shared_ptr<Serializable>> subObjects();
    std::vector<boost::shared_ptr<const Serializable>> subObjects() const;
    std::vector<boost::shared_ptr<Serializable>> subObjects(char id);
    std::vector<boost::shared_ptr<const Serializable>> subObjects(char id) const;
    // Removes and returns the first / index-th sub-object with this ID, or returns null and
    // removes nothing.
    boost::shared_ptr<Serializable> removeSubObject(char id);
    boost::shared_ptr<Serializable> removeSubObjectAtIndex(char id, unsigned char index);
    // Removes the sub-object that is this very object; raises SerializableError
    // "SerializableComposite::removeSubObject - Sub object not present" when it is not held.
    void removeSubObject(const Serializable& object);

    // The index-th sub-object with this ID as class T, or null when there is none. A sub-object
    // that is not a T raises SerializableError "SerializableComposite::subObject() - programming
    // error. ID does not match object type".
    template <typename T>
    boost::shared_ptr<T> subObjectAs(char id, unsigned char index = 0) {
        boost::shared_ptr<Serializable> object = subObjectAtIndex(id, index);
        boost::shared_ptr<T> typed = boost::dynamic_pointer_cast<T>(object);
        if (object && !typed) {
            throwTypeMismatch();
        }
        return typed;
    }
    template <typename T>
    boost::shared_ptr<const T> subObjectAs(char id, unsigned char index = 0) const {
        boost::shared_ptr<const Serializable> object = subObjectAtIndex(id, index);
        boost::shared_ptr<const T> typed = boost::dynamic_pointer_cast<const T>(object);
        if (object && !typed) {
            throwTypeMismatch();
        }
        return typed;
    }

protected:
    SerializableComposite();
    // Deep copies: every sub-object is cloned.
    SerializableComposite(const SerializableComposite& other);
    SerializableComposite& operator=(const SerializableComposite& other);

    using Serializable::appendBuffer;
    void appendBuffer(ByteBuffer& buffer) const override;
    void readFromBuffer(const ByteBuffer& buffer, int& read_pos) override;
    void readFromBufferWithStatus(const ByteBuffer& buffer, int& read_pos,
                                  unsigned int& status) override;

    // Appends / reads the own data (default: nothing).
    virtual void appendOwnData(ByteBuffer& buffer) const;
    virtual void readOwnData(const ByteBuffer& buffer, int& read_pos);
    // Values of the own data.
    virtual void printOwnData(std::ostream& stream) const = 0;
    // The policy behind addSubObject; the default inserts with the rules above.
    virtual void doAddSubObject(const boost::shared_ptr<Serializable>& object);
    // Whether several sub-objects may share an ID (default true).
    virtual bool allowDuplicateSubObjects() const;

    const SubObjectMap& subObjectMap() const { return _sub_objects; }
    [[noreturn]] void throwDuplicateSubObject() const;

private:
    friend class detail::RecordReader;

    void insertSubObject(boost::shared_ptr<Serializable> object);
    // The index-th entry with this ID, or end().
    SubObjectMap::iterator findAtIndex(char id, unsigned char index);
    void copyFrom(const SerializableComposite& other);
    void readSubObjects(const ByteBuffer& buffer, int& read_pos, unsigned int* status);
    [[noreturn]] static void throwTypeMismatch();

    SubObjectMap _sub_objects;
};

}  // namespace vq::eod
