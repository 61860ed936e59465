#include "vq/eod/intersectionoutputbasev2.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <ostream>

#include "eod/precondition_internal.h"

namespace vq::eod {

namespace {

template <typename T>
std::vector<T> pointAt(const std::map<int, std::vector<T>>& points, int index, std::size_t size) {
    auto found = points.find(index);
    return found != points.end() ? found->second : std::vector<T>(size, T());
}

template <typename T>
void printFirst(std::ostream& stream, const std::map<int, std::vector<T>>& points) {
    if (!points.empty()) {
        for (T value : points.begin()->second) {
            stream << std::setw(15) << value << ' ';
        }
    }
}

}  // namespace

IntersectionOutputBaseV2::IntersectionOutputBaseV2() = default;
IntersectionOutputBaseV2::IntersectionOutputBaseV2(const IntersectionOutputBaseV2& other) = default;
IntersectionOutputBaseV2& IntersectionOutputBaseV2::operator=(
    const IntersectionOutputBaseV2& other) = default;
IntersectionOutputBaseV2::~IntersectionOutputBaseV2() = default;

void IntersectionOutputBaseV2::clearAllData() {
    _labels.clear();
    _world.clear();
    _plane.clear();
    _pixel.clear();
}

int IntersectionOutputBaseV2::labelIndex(const std::string& label) const {
    auto found = _labels.find(label);
    return found != _labels.end() ? found->second : -1;
}

bool IntersectionOutputBaseV2::hasWorld(const std::string& label) const {
    return _world.count(labelIndex(label)) != 0;
}

bool IntersectionOutputBaseV2::hasPlane(const std::string& label) const {
    return _plane.count(labelIndex(label)) != 0;
}

bool IntersectionOutputBaseV2::hasPixel(const std::string& label) const {
    return _pixel.count(labelIndex(label)) != 0;
}

std::vector<float> IntersectionOutputBaseV2::world(const std::string& label) const {
    return pointAt(_world, labelIndex(label), 3);
}

std::vector<float> IntersectionOutputBaseV2::plane(const std::string& label) const {
    return pointAt(_plane, labelIndex(label), 2);
}

std::vector<int> IntersectionOutputBaseV2::pixel(const std::string& label) const {
    return pointAt(_pixel, labelIndex(label), 2);
}

void IntersectionOutputBaseV2::addIntersection(const std::string& label,
                                               const std::vector<float>& world,
                                               const std::vector<float>& plane,
                                               const std::vector<int>& pixel) {
    VQ_REQUIRE(world.size() == 3, "world expected to be 3D point");
    VQ_REQUIRE(plane.size() == 2, "plane expected to be 2D point");
    VQ_REQUIRE(pixel.size() == 2, "pixel expected to be 3D point");
    const int index = addLabelIndex(label);
    _world[index] = world;
    _plane[index] = plane;
    _pixel[index] = pixel;
}

void IntersectionOutputBaseV2::addIntersection(const std::string& label,
                                               const std::vector<float>& world,
                                               const std::vector<float>& plane) {
    VQ_REQUIRE(world.size() == 3, "world expected to be 3D point");
    VQ_REQUIRE(plane.size() == 2, "plane expected to be 2D point");
    const int index = addLabelIndex(label);
    _world[index] = world;
    _plane[index] = plane;
}

void IntersectionOutputBaseV2::addIntersection(const std::string& label,
                                               const std::vector<float>& world) {
    VQ_REQUIRE(world.size() == 3, "world expected to be 3D point");
    _world[addLabelIndex(label)] = world;
}

int IntersectionOutputBaseV2::addLabelIndex(const std::string& label) {
    const int next = static_cast<int>(_labels.size());
    return _labels.emplace(label, next).first->second;
}

std::vector<std::string> IntersectionOutputBaseV2::labels() const {
    std::vector<std::string> result;
    result.reserve(_labels.size());
    for (const auto& entry : _labels) {
        result.push_back(entry.first);
    }
    return result;
}

unsigned int IntersectionOutputBaseV2::combinedLabelSize() const {
    unsigned int size = 0;
    for (const auto& entry : _labels) {
        size += static_cast<unsigned int>(entry.first.size() + 1);
    }
    return size;
}

ObjectIntersection IntersectionOutputBaseV2::firstIntersection() const {
    ObjectIntersection first;
    if (_labels.empty()) {
        return first;
    }
    auto lowest =
        std::min_element(_labels.begin(), _labels.end(),
                         [](const auto& a, const auto& b) { return a.second < b.second; });
    first.object_index = lowest->second;
    first.object_name = lowest->first;
    first.intersects_screen = true;
    first.world = world(lowest->first);
    first.screen = plane(lowest->first);
    first.pixel = pixel(lowest->first);
    return first;
}

void IntersectionOutputBaseV2::assignObjectIntersection(const ObjectIntersection& data) {
    clearAllData();
    if (data.intersects_screen) {
        addIntersection(data.object_name, data.world, data.screen, data.pixel);
    }
}

unsigned int IntersectionOutputBaseV2::numUnannouncedDataBytes() const {
    return 16;
}

void IntersectionOutputBaseV2::printOwnHeader(std::ostream& stream) const {
    for (const char* title : {"ITEM_NAME", "WORLD_X", "WORLD_Y", "WORLD_Z", "PLANE_X", "PLANE_Y",
                              "PIXEL_X", "PIXEL_Y"}) {
        stream << std::setw(15) << title << ' ';
    }
}

void IntersectionOutputBaseV2::printOwnData(std::ostream& stream) const {
    stream << std::setw(15) << (_labels.empty() ? "Nothing" : _labels.begin()->first) << ' ';
    printFirst(stream, _world);
    printFirst(stream, _plane);
    printFirst(stream, _pixel);
}

void IntersectionOutputBaseV2::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, static_cast<std::uint64_t>(_labels.size()));
    for (const auto& [label, index] : _labels) {
        appendBuffer(buffer, label);
        appendValue(buffer, index);
    }
    appendPoints(buffer, _world);
    appendPoints(buffer, _plane);
    appendPoints(buffer, _pixel);
}

void IntersectionOutputBaseV2::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    clearAllData();
    std::uint64_t count = 0;
    readValue(buffer, read_pos, count);
    for (std::uint64_t i = 0; i < count; ++i) {
        std::string label;
        int index = 0;
        readBuffer(buffer, read_pos, label);
        readValue(buffer, read_pos, index);
        _labels[label] = index;
    }
    readPoints(buffer, read_pos, 3, _world);
    readPoints(buffer, read_pos, 2, _plane);
    readPoints(buffer, read_pos, 2, _pixel);
}

template <typename T>
void IntersectionOutputBaseV2::appendPoints(ByteBuffer& buffer,
                                            const std::map<int, std::vector<T>>& points) {
    appendValue(buffer, static_cast<std::uint64_t>(points.size()));
    for (const auto& [index, point] : points) {
        appendValue(buffer, index);
        for (T value : point) {
            appendValue(buffer, value);
        }
    }
}

// The count comes from the data: entries are read one by one, each read checked against the
// bytes there, so a hostile count ends in an error at the end of the data, never in a large
// allocation.
template <typename T>
void IntersectionOutputBaseV2::readPoints(const ByteBuffer& buffer, int& read_pos,
                                          std::size_t dimensions,
                                          std::map<int, std::vector<T>>& points) {
    std::uint64_t count = 0;
    readValue(buffer, read_pos, count);
    for (std::uint64_t i = 0; i < count; ++i) {
        int index = 0;
        std::vector<T> point(dimensions);
        readValue(buffer, read_pos, index);
        for (T& value : point) {
            readValue(buffer, read_pos, value);
        }
        points[index] = std::move(point);
    }
}

// Counts the four 8-byte entry counts as 4 bytes each: 16 bytes short, kept so (see the header).
unsigned int IntersectionOutputBaseV2::numEngineSpecificDataBytes() const {
    const auto labels = static_cast<unsigned int>(_labels.size());
    const auto world = static_cast<unsigned int>(_world.size());
    const auto plane = static_cast<unsigned int>(_plane.size());
    const auto pixel = static_cast<unsigned int>(_pixel.size());
    return combinedLabelSize() + 4 * (labels + 4 * world + 3 * plane + 3 * pixel + 4);
}

}  // namespace vq::eod
