#include "vqlog/tabletext.h"

#include <algorithm>
#include <cstdint>
#include <sstream>

#include "vqlog/kinds.h"

namespace vqlog {

namespace {

// The length of the valid UTF-8 sequence at text[i], or 0 when the byte there starts none.
std::size_t sequenceAt(std::string_view text, std::size_t i) {
    const auto byte = [&](std::size_t k) { return static_cast<std::uint8_t>(text[k]); };
    const std::uint8_t lead = byte(i);
    if (lead < 0x80) {
        return 1;
    }
    std::size_t length = 0;
    std::uint8_t low = 0x80;   // the bounds of the second byte, which exclude overlong forms,
    std::uint8_t high = 0xBF;  // surrogates and code points beyond U+10FFFF
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (text.size() - i < length || byte(i + 1) < low || byte(i + 1) > high) {
        return 0;
    }
    for (std::size_t k = 2; k < length; ++k) {
        if (byte(i + k) < 0x80 || byte(i + k) > 0xBF) {
            return 0;
        }
    }
    return length;
}

bool isControl(char c) {
    return static_cast<std::uint8_t>(c) < 0x20 || c == 0x7F;
}

}  // namespace

std::vector<std::string> parseColumns(const std::string& text, vq::eod::Table table) {
    std::vector<std::string> names;
    std::stringstream list(text);
    for (std::string name; std::getline(list, name, ',');) {
        const auto& all = vq::eod::columns(table);
        if (std::none_of(all.begin(), all.end(), [&](const auto& c) { return c.name == name; })) {
            throw UsageError("--columns: unknown column '" + name +
                             "' (`vqlog schema` lists them)");
        }
        names.push_back(name);
    }
    if (names.empty()) {
        throw UsageError("--columns: no columns given");
    }
    return names;
}

bool needsEscape(std::string_view text, bool controls) {
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = sequenceAt(text, i);
        if (length == 0 || (controls && isControl(text[i]))) {
            return true;
        }
        i += length;
    }
    return false;
}

std::string escapeLabel(std::string_view text, bool controls) {
    static const char HEX[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = sequenceAt(text, i);
        if (length == 0 || (controls && isControl(text[i]))) {
            const auto b = static_cast<std::uint8_t>(text[i]);
            out += {'\\', 'x', HEX[b >> 4], HEX[b & 0xF]};
            ++i;
        } else {
            out.append(text.data() + i, length);
            i += length;
        }
    }
    return out;
}

}  // namespace vqlog
