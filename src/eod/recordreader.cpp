#include "eod/recordreader_internal.h"

#include "eod/frameclasses_internal.h"

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/timingoutputdata.h"

namespace vq::eod::detail {

// The readers of the classes are instantiated in the classes' own sources.
#define VQ_EOD_EXTERN_READER(T)                                                                    \
    extern template bool RecordReader::readEngineRecord<T>(Serializable&, const ByteBuffer&, int&, \
                                                           const RecordHeader&, unsigned int&);
VQ_EOD_FRAME_CLASSES(VQ_EOD_EXTERN_READER)
#undef VQ_EOD_EXTERN_READER

template <typename T>
void RecordReader::addFastClass() {
    fast_classes[static_cast<unsigned char>(T::THIS_OBJECT_ID)] = {&typeid(T),
                                                                   &readEngineRecord<T>};
}

bool RecordReader::registerFastClasses() {
#define VQ_EOD_ADD_FAST_CLASS(T) addFastClass<T>();
    VQ_EOD_FRAME_CLASSES(VQ_EOD_ADD_FAST_CLASS)
#undef VQ_EOD_ADD_FAST_CLASS
    return true;
}

// Filled in when the library is loaded; until then every object is read through its hooks.
RecordReader::FastClass RecordReader::fast_classes[256] = {};
const bool RecordReader::fast_classes_registered = registerFastClasses();

}  // namespace vq::eod::detail
