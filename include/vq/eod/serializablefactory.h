// SerializableFactory: rebuilds records from serialised bytes by their object ID.
//
// A process-wide registry maps each object ID to a creation function. The library's own record
// classes are registered once, when the library is loaded and in any case before the first
// registration or lookup completes. Applications may register further classes with IDs of their
// own, or another creation function for a built-in class, at start-up. The registry is not locked
// after it is built: lookups from several threads are safe while nobody registers.
//
// Readers skip objects whose ID is not registered, by the size in their header; that is never
// an error. The ...WithStatus forms OR these bits into the caller's status word (see
// serializable.h): 1 unknown object ID, 4 insufficient data, 8 size mismatch. A status-reading
// call returns null for an object that is incomplete or damaged, and also for every later object
// read with a status word that already carries bit 4 or 8: callers that want to go on after a
// damaged object use a fresh status word.
#pragma once

#include <istream>

#include <boost/shared_ptr.hpp>

#include "vq/eod/serializable.h"

namespace vq::eod {

class VQ_EOD_API SerializableFactory {
public:
    // A plain function that returns a new default-constructed record.
    using CreationFunction = boost::shared_ptr<Serializable> (*)();

    SerializableFactory() = delete;

    // Registers `creation_fn` for `object_id` and returns the function registered before, or null
    // for a new ID. Raises SerializableError when creation_fn is null, returns null, or when the
    // ID is taken by another class ("An object type has already been registered for this
    // object_id ") or the sample object reports another ID than the taken one.
    static CreationFunction registerObjectType(char object_id, CreationFunction creation_fn);
    // Removes the ID; returns the removed function, or null when the ID was not registered.
    static CreationFunction unregisterObjectType(char object_id);

    // A new empty object of the class registered for the ID, or null.
    static boost::shared_ptr<Serializable> newObject(char object_id);
    static boost::shared_ptr<Serializable> newObjectWithStatus(char object_id,
                                                               unsigned int& status);

    // Reads one whole object at read_pos and advances read_pos past it, known or not; an unknown
    // object gives null. Raises SerializableError "SerializableFactory::newObject - insufficient
    // data in buffer" for an incomplete object (read_pos unchanged) and "SerializableFactory::
    // newObject - could not unSerialize object" for one whose data does not match its size.
    static boost::shared_ptr<Serializable> newObject(const ByteBuffer& buffer, int& read_pos);
    // The same, reporting every failure through status instead of raising SerializableError:
    // bit 4 for an incomplete object (also one of its sub-objects reaching beyond the data that
    // holds it), bit 8 for any other damage (a size that does not match, a field read past the
    // object's end, a duplicate sub-object, nesting too deep, more objects than the size allows).
    // read_pos is unchanged whenever the object is null for a reason other than its unknown ID.
    static boost::shared_ptr<Serializable> newObjectWithStatus(const ByteBuffer& buffer,
                                                               int& read_pos, unsigned int& status);

    // Reads one whole object from the stream. The data is read in pieces of at most 64 KiB as it
    // arrives, so a header announcing more bytes than the stream holds costs no more memory than
    // the bytes that are really there. Raises SerializableError at end of file, on a failed read
    // and for a damaged object; an unknown object is skipped and gives null, also when the end of
    // the stream cuts it short.
    static boost::shared_ptr<Serializable> newObject(std::istream& stream);
    // The same, reporting the failures of reading through status and returning null: bit 4 for
    // end of file, a failed read of the ID, size or data (the bytes that labelled records hold
    // beyond their size included) and a failed skip; bit 8 for a size mismatch and for damage
    // inside a sub-object. Damage of the object's own contents (a duplicate sub-object, a field
    // read past its end) raises SerializableError as newObject does; file readers pass it on.
    static boost::shared_ptr<Serializable> newObjectWithStatus(std::istream& stream,
                                                               unsigned int& status);

    // True when a complete object (header and all announced data) lies at pos, whatever its ID.
    static bool canDeserialize(const ByteBuffer& buffer, int pos);
};

}  // namespace vq::eod
