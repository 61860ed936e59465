#include "vq/eod/engineoutputdata.h"

#include <iomanip>
#include <ostream>

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(EngineOutputData)

EngineOutputData::EngineOutputData() : _frame_num(0) {}

EngineOutputData::EngineOutputData(const EngineOutputData& other)
    : EngineOutputBase(other), _frame_num(other._frame_num) {}

EngineOutputData& EngineOutputData::operator=(const EngineOutputData& other) {
    if (this != &other) {
        EngineOutputBase::operator=(other);
        _frame_num = other._frame_num;
    }
    return *this;
}

EngineOutputData::~EngineOutputData() = default;

const std::wstring& EngineOutputData::LOGFILE_EXTENSION() {
    static const std::wstring extension = L".vql";
    return extension;
}

const std::wstring& EngineOutputData::LOGFILE_INDEX_EXTENSION() {
    static const std::wstring extension = L".ivql";
    return extension;
}

char EngineOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

EngineOutputData* EngineOutputData::clone() const {
    return new EngineOutputData(*this);
}

bool EngineOutputData::forbidDuplicateSiblings() const {
    return false;
}

void EngineOutputData::reset() {
    clearSubObjects();
    setSerializeEnabled(true);
}

void EngineOutputData::printOwnHeader(std::ostream& stream) const {
    stream << std::setw(15) << "FRAME_NUM" << ' ';
}

void EngineOutputData::printOwnData(std::ostream& stream) const {
    stream << std::setw(15) << _frame_num << ' ';
}

void EngineOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, _frame_num);
}

void EngineOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _frame_num);
}

unsigned int EngineOutputData::numEngineSpecificDataBytes() const {
    return 4;
}

}  // namespace vq::eod
