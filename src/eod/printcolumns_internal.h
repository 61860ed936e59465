// Column printing of records: every title and every value is a field of width 15 followed by
// one blank, in the stream's own number format.
#pragma once

#include <initializer_list>
#include <iomanip>
#include <ostream>
#include <vector>

namespace vq::eod::detail {

template <typename T>
void printColumn(std::ostream& stream, const T& value) {
    stream << std::setw(15) << value << ' ';
}

// A char field prints as the number it holds, not as a character.
inline void printColumn(std::ostream& stream, char value) {
    printColumn(stream, static_cast<int>(value));
}

// Every element of a vector, in order.
template <typename T>
void printColumns(std::ostream& stream, const std::vector<T>& values) {
    for (const T& value : values) {
        printColumn(stream, value);
    }
}

inline void printColumns(std::ostream& stream, std::initializer_list<const char*> titles) {
    for (const char* title : titles) {
        printColumn(stream, title);
    }
}

}  // namespace vq::eod::detail
