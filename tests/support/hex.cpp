#include "vqtest/hex.h"

#include <cctype>
#include <stdexcept>

namespace vqtest {

std::string hex(const vq::eod::ByteBuffer& bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i != 0) {
            text += ' ';
        }
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
    }
    return text;
}

vq::eod::ByteBuffer bytes(const std::string& dump) {
    vq::eod::ByteBuffer result;
    int high = -1;
    for (char c : dump) {
        if (c == ' ' || c == '|') {
            continue;
        }
        if (!std::isxdigit(static_cast<unsigned char>(c))) {
            throw std::invalid_argument("not a hex digit in dump: " + dump);
        }
        const int value = std::isdigit(static_cast<unsigned char>(c))
                              ? c - '0'
                              : std::toupper(static_cast<unsigned char>(c)) - 'A' + 10;
        if (high < 0) {
            high = value;
        } else {
            result.push_back(static_cast<unsigned char>(high * 16 + value));
            high = -1;
        }
    }
    if (high >= 0) {
        throw std::invalid_argument("odd number of hex digits in dump: " + dump);
    }
    return result;
}

std::istringstream streamOf(const vq::eod::ByteBuffer& bytes) {
    return std::istringstream(std::string(bytes.begin(), bytes.end()));
}

vq::eod::ByteBuffer serialized(const vq::eod::Serializable& object) {
    vq::eod::ByteBuffer buffer;
    object.serialize(buffer);
    return buffer;
}

}  // namespace vqtest
