// EngineOutputData: the frame, one camera frame's output of the tracking engine.
//
// Its engine-specific data is the frame number, 4 bytes big-endian; the frame's records are its
// sub-objects, written in ascending object ID. A new frame numbered 7 with no records serialises
// as 09 00 06 | 01 | 00 00 00 07 | 00.
//
// Frames may repeat inside a composite. Log files of frames end in LOGFILE_EXTENSION().
#pragma once

#include <string>

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class EngineStateOutputData;
class EyeOutputData;
class FaceOutputDataV2;
class FaceSetOutputData;
class FeatureSetsByCamera;
class GPSOutputData;
class GPSOutputDataV2;
class HeadOutputDataV2;
class ImageCollectionOutputData;
class InertiaOutputData;
class TimingOutputData;
class WorldOutputDataV2;

class VQ_EOD_API EngineOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::ENGINE_OUTPUT_DATA;

    EngineOutputData();
    EngineOutputData(const EngineOutputData& other);
    EngineOutputData& operator=(const EngineOutputData& other);
    ~EngineOutputData() override;

    // Frame number, 0 after construction.
    unsigned int frameNum() const { return _frame_num; }
    void setFrameNum(unsigned int frame_num) { _frame_num = frame_num; }

    // ---- the frame's records ------------------------------------------------------------------
    // Each returns the frame's record of one kind, or null when it has none. The face records
    // live in face sets (FaceSetOutputData, one per face, face set 0 the main face). The
    // non-const face accessors first move head, face and eye records that an older writer put
    // into the frame itself into face set 0, converting a HeadOutputData to HeadOutputDataV2
    // (utils::migrateFaceSetOutputData, which raises SerializableError when face set 0 already
    // holds such a record); the frame then serialises in the current form. The const forms
    // leave the frame unchanged and answer as if it had been migrated, with detached copies
    // where records would have moved (utils/outputdatautils.h has the details).
    boost::shared_ptr<HeadOutputDataV2> headOutputData();
    boost::shared_ptr<const HeadOutputDataV2> headOutputData() const;
    boost::shared_ptr<EyeOutputData> eyeOutputData();
    boost::shared_ptr<const EyeOutputData> eyeOutputData() const;
    boost::shared_ptr<FaceOutputDataV2> faceOutputData();
    boost::shared_ptr<const FaceOutputDataV2> faceOutputData() const;
    // The index-th face set.
    boost::shared_ptr<FaceSetOutputData> face(unsigned char index);
    boost::shared_ptr<const FaceSetOutputData> face(unsigned char index) const;
    unsigned char numFaces();
    unsigned char numFaces() const;
    // Frame-wide records, looked up in the frame itself; never migrate.
    boost::shared_ptr<TimingOutputData> timingOutputData();
    boost::shared_ptr<const TimingOutputData> timingOutputData() const;
    boost::shared_ptr<EngineStateOutputData> engineStateOutputData();
    boost::shared_ptr<const EngineStateOutputData> engineStateOutputData() const;
    // The current world container, which holds the intersection records.
    boost::shared_ptr<WorldOutputDataV2> worldOutputData();
    boost::shared_ptr<const WorldOutputDataV2> worldOutputData() const;
    boost::shared_ptr<GPSOutputData> gpsOutputData();
    boost::shared_ptr<const GPSOutputData> gpsOutputData() const;
    boost::shared_ptr<GPSOutputDataV2> gpsOutputDataV2();
    boost::shared_ptr<const GPSOutputDataV2> gpsOutputDataV2() const;
    boost::shared_ptr<InertiaOutputData> inertiaOutputData();
    boost::shared_ptr<const InertiaOutputData> inertiaOutputData() const;
    boost::shared_ptr<FeatureSetsByCamera> featureSetsByCamera();
    boost::shared_ptr<const FeatureSetsByCamera> featureSetsByCamera() const;
    boost::shared_ptr<ImageCollectionOutputData> imagesOutputData();
    boost::shared_ptr<const ImageCollectionOutputData> imagesOutputData() const;

    // ".vql", the extension of frame log files, and ".ivql", that of their index files.
    static const std::wstring& LOGFILE_EXTENSION();
    static const std::wstring& LOGFILE_INDEX_EXTENSION();

    char objectID() const override;
    EngineOutputData* clone() const override;
    bool forbidDuplicateSiblings() const override;  // false
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(EngineOutputData)

protected:
    // Removes every record and enables the frame; the frame number is kept.
    void reset();

    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    friend class detail::RecordReader;
    friend class detail::RecordWriter;
    // The fields that appendEngineSpecificData writes, in their order.
    void putEngineSpecificData(FieldWriter& out) const;

    unsigned int _frame_num;  // frame number of the camera frame
};

}  // namespace vq::eod
