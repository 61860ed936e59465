#include "eod/io/paths_internal.h"

namespace vq::eod::io::detail {

static_assert(sizeof(wchar_t) == 4, "wide paths are taken as UTF-32 code points");

namespace {

constexpr char32_t ESCAPED_BYTE_BASE = 0xDC00;  // U+DC80..U+DCFF stand for the bytes 0x80..0xFF

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Decodes the UTF-8 sequence at path[i]; returns its length, or 0 when it is not valid UTF-8
// (truncated, overlong, a surrogate or beyond U+10FFFF).
std::size_t decodeUtf8(const std::string& path, std::size_t i, char32_t& c) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(path[i + k]); };
    const unsigned char lead = byte(0);
    std::size_t length = 0;
    char32_t min = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, min = 0x80, c = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, min = 0x800, c = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, min = 0x10000, c = lead & 0x07;
    } else {
        return 0;
    }
    if (path.size() - i < length) {
        return 0;
    }
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(k) & 0xC0) != 0x80) {
            return 0;
        }
        c = (c << 6) | (byte(k) & 0x3F);
    }
    const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
    return (c < min || c > 0x10FFFF || surrogate) ? 0 : length;
}

}  // namespace

std::string narrowPath(const std::wstring& path) {
    std::string out;
    out.reserve(path.size());
    for (wchar_t wide : path) {
        const auto c = static_cast<char32_t>(wide);
        if (c >= ESCAPED_BYTE_BASE + 0x80 && c <= ESCAPED_BYTE_BASE + 0xFF) {
            out += static_cast<char>(c - ESCAPED_BYTE_BASE);
        } else if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) {
            out += '?';
        } else {
            appendUtf8(out, c);
        }
    }
    return out;
}

std::wstring widenPath(const std::string& path) {
    std::wstring out;
    out.reserve(path.size());
    for (std::size_t i = 0; i < path.size();) {
        const auto lead = static_cast<unsigned char>(path[i]);
        char32_t c = lead;
        std::size_t length = lead < 0x80 ? 1 : decodeUtf8(path, i, c);
        if (length == 0) {
            c = ESCAPED_BYTE_BASE + lead;
            length = 1;
        }
        out += static_cast<wchar_t>(c);
        i += length;
    }
    return out;
}

bool isNativePath(const std::string& path) {
    return path.find('\0') == std::string::npos;
}

}  // namespace vq::eod::io::detail
