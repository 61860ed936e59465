#include "vq/eod/intersectionoutputbase.h"

#include <iomanip>
#include <ostream>

#include "vq/eod/utils/padstring.h"

namespace vq::eod {

bool operator==(const ObjectIntersection& a, const ObjectIntersection& b) {
    return a.object_index == b.object_index && a.object_name == b.object_name &&
           a.intersects_screen == b.intersects_screen && a.world == b.world &&
           a.screen == b.screen && a.pixel == b.pixel;
}

IntersectionOutputBase::IntersectionOutputBase() = default;
IntersectionOutputBase::IntersectionOutputBase(const IntersectionOutputBase& other) = default;
IntersectionOutputBase& IntersectionOutputBase::operator=(const IntersectionOutputBase& other) =
    default;
IntersectionOutputBase::~IntersectionOutputBase() = default;

int IntersectionOutputBase::intersectionObjectIndex() const {
    return _intersection.object_index;
}

const std::string& IntersectionOutputBase::intersectionObjectName() const {
    return _intersection.object_name;
}

bool IntersectionOutputBase::intersectsScreen() const {
    return _intersection.intersects_screen;
}

const std::vector<float>& IntersectionOutputBase::screenIntersectionWorldCoordinates() const {
    return _intersection.world;
}

const std::vector<float>& IntersectionOutputBase::screenIntersectionScreenCoordinates() const {
    return _intersection.screen;
}

const std::vector<int>& IntersectionOutputBase::screenIntersectionPixelCoordinates() const {
    return _intersection.pixel;
}

void IntersectionOutputBase::setIntersectionObjectIndex(int index) {
    _intersection.object_index = index;
}

void IntersectionOutputBase::setIntersectionObjectName(const std::string& name) {
    _intersection.object_name = name;
}

void IntersectionOutputBase::setIntersectsScreen(bool intersects) {
    _intersection.intersects_screen = intersects;
}

void IntersectionOutputBase::printObjectIntersectionHeader(std::ostream& stream,
                                                           const char* const (&titles)[10]) {
    for (const char* title : titles) {
        stream << std::setw(15) << title << ' ';
    }
}

void IntersectionOutputBase::printOwnData(std::ostream& stream) const {
    stream << std::setw(15) << _intersection.object_index << ' ';
    stream << std::setw(15) << _intersection.object_name.substr(0, OBJECT_NAME_LENGTH) << ' ';
    stream << std::setw(15) << _intersection.intersects_screen << ' ';
    for (float value : _intersection.world) {
        stream << std::setw(15) << value << ' ';
    }
    for (float value : _intersection.screen) {
        stream << std::setw(15) << value << ' ';
    }
    for (int value : _intersection.pixel) {
        stream << std::setw(15) << value << ' ';
    }
}

void IntersectionOutputBase::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, _intersection.object_index);
    appendBuffer(buffer, utils::padString(_intersection.object_name, OBJECT_NAME_LENGTH));
    appendBuffer(buffer, _intersection.intersects_screen);
    for (float value : _intersection.world) {
        appendValue(buffer, value);
    }
    for (float value : _intersection.screen) {
        appendValue(buffer, value);
    }
    for (int value : _intersection.pixel) {
        appendValue(buffer, value);
    }
}

void IntersectionOutputBase::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _intersection.object_index);
    readBuffer(buffer, read_pos, _intersection.object_name);
    readBuffer(buffer, read_pos, _intersection.intersects_screen);
    for (float& value : _intersection.world) {
        readValue(buffer, read_pos, value);
    }
    for (float& value : _intersection.screen) {
        readValue(buffer, read_pos, value);
    }
    for (int& value : _intersection.pixel) {
        readValue(buffer, read_pos, value);
    }
    // Padding blanks are not part of the name.
    _intersection.object_name.erase(_intersection.object_name.find_last_not_of(' ') + 1);
}

unsigned int IntersectionOutputBase::numEngineSpecificDataBytes() const {
    return 41;
}

}  // namespace vq::eod
