#include "vqlog/tabletext.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sstream>

#define FMT_HEADER_ONLY  // only Dragonbox's shortest digits are used, in this file alone
#include <fmt/format.h>

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

constexpr std::uint64_t ASCII_ZEROS = 0x3030303030303030ull;

// Two digits per entry: the exponents of the scientific form.
constexpr char DIGIT_PAIRS[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// The 8 decimal digits of v < 10^8, leading zeros kept, one a byte and the first in the lowest
// byte. Split into two lanes of four digits, then four of two, then eight of one; each division
// is a multiplication by a reciprocal that is exact in its lane (below 10^4 and below 100) and
// cannot carry into the next lane.
inline std::uint64_t eightDigits(std::uint32_t v) {
    const std::uint64_t fours = (v / 10000) | (static_cast<std::uint64_t>(v % 10000) << 32);
    const std::uint64_t hundreds = ((fours * 10486) >> 20) & 0x0000007F0000007Full;
    const std::uint64_t twos = hundreds | ((fours - hundreds * 100) << 16);
    const std::uint64_t tens = ((twos * 103) >> 10) & 0x000F000F000F000Full;
    return tens | ((twos - tens * 10) << 8);
}

// The count of leading zero digits of eightDigits(v): 7 for v = 0, so that one digit remains.
inline int leadingZeros(std::uint64_t digits) {
    return __builtin_ctzll(digits | (std::uint64_t{1} << 56)) >> 3;
}

// Eight characters, the lowest byte first.
inline void store(char* p, std::uint64_t bytes) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    bytes = __builtin_bswap64(bytes);
#endif
    std::memcpy(p, &bytes, 8);
}

// The decimal digits of v < 10^17 at `text` (25 characters of room), without leading zeros (one
// "0" for 0); returns their count.
inline int writeDigits(char* text, std::uint64_t v) {
    if (v < 100000000) {
        const std::uint64_t digits = eightDigits(static_cast<std::uint32_t>(v));
        const int zeros = leadingZeros(digits);
        store(text, (digits >> (8 * zeros)) + ASCII_ZEROS);
        return 8 - zeros;
    }
    const std::uint64_t low = eightDigits(static_cast<std::uint32_t>(v % 100000000)) + ASCII_ZEROS;
    const std::uint64_t high = v / 100000000;
    if (high < 100000000) {
        const std::uint64_t digits = eightDigits(static_cast<std::uint32_t>(high));
        const int zeros = leadingZeros(digits);
        store(text, (digits >> (8 * zeros)) + ASCII_ZEROS);
        store(text + 8 - zeros, low);
        return 16 - zeros;
    }
    text[0] = static_cast<char>('0' + high / 100000000);
    store(text + 1, eightDigits(static_cast<std::uint32_t>(high % 100000000)) + ASCII_ZEROS);
    store(text + 9, low);
    return 17;
}

// Below this, every whole number is a float (a double): one whose shortest digits end in zeros
// is exactly those digits followed by the zeros.
template <typename T>
constexpr T EXACT_INTEGERS = static_cast<T>(std::uint64_t{1} << std::numeric_limits<T>::digits);

// The shortest digits from fmt's Dragonbox, written eight at a time and placed by the form
// std::to_chars chooses: fixed when it is not longer than scientific.
template <typename T>
char* shortest(char* out, T value) {
    if (value == 0) {
        *out = '-';
        out += std::signbit(value) ? 1 : 0;
        *out = '0';
        return out + 1;
    }
    const auto decimal = fmt::detail::dragonbox::to_decimal(value);
    *out = '-';
    out += value < 0 ? 1 : 0;
    char text[32];
    const int n = writeDigits(text, decimal.significand);
    const int e = decimal.exponent;  // value = digits * 10^e
    if (e < 0) {
        const int whole = n + e;
        if (whole > 0) {  // ddd.ddd
            std::memcpy(out, text, 24);
            out[whole] = '.';
            std::memcpy(out + whole + 1, text + whole, 16);
            return out + n + 1;
        }
        if (-whole <= (n > 1 ? 3 : 2)) {  // 0.000ddd: not longer than d.ddde-0X
            std::memcpy(out, "0.000000", 8);
            std::memcpy(out + 2 - whole, text, 24);
            return out + 2 - whole + n;
        }
    } else if (e <= (n > 1 ? 5 : 4)) {  // ddd000: not longer than d.ddde+0X
        if (std::abs(value) >= EXACT_INTEGERS<T>) {
            // The fixed form writes the value's exact digits, which may differ from the
            // shortest ones followed by zeros.
            return std::to_chars(out, out + 32, std::abs(value)).ptr;
        }
        std::memcpy(out, text, 24);
        std::memcpy(out + n, "00000000", 8);
        return out + n + e;
    }
    // d.ddde-XX
    out[0] = text[0];
    out[1] = '.';
    std::memcpy(out + 2, text + 1, 16);
    char* p = out + (n > 1 ? n + 1 : 1);
    int x = e + n - 1;
    p[0] = 'e';
    p[1] = x < 0 ? '-' : '+';
    p += 2;
    x = x < 0 ? -x : x;
    if (x >= 100) {
        *p++ = static_cast<char>('0' + x / 100);
        x %= 100;
    }
    std::memcpy(p, DIGIT_PAIRS + x * 2, 2);
    return p + 2;
}

}  // namespace

char* shortestText(char* out, float value) {
    return shortest(out, value);
}

char* shortestText(char* out, double value) {
    return shortest(out, value);
}

char* integerText(char* out, std::int64_t value) {
    auto magnitude = static_cast<std::uint64_t>(value);
    *out = '-';
    if (value < 0) {
        magnitude = 0 - magnitude;
        ++out;
    }
    if (magnitude >= 10000000000000000ull) {
        return std::to_chars(out, out + 24, magnitude).ptr;
    }
    return out + writeDigits(out, magnitude);
}

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
