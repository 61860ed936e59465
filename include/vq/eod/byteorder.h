// Big-endian loads and stores of the scalars that records put on the wire.
//
// Integers travel big-endian; floats and doubles travel as their IEEE-754 bit patterns,
// big-endian; a 64-bit value is its high 32-bit half first, each half big-endian, which is the
// same as 8 bytes big-endian.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace vq::eod::byteorder {

template <std::size_t N>
struct UnsignedOfSize;
template <>
struct UnsignedOfSize<1> {
    using type = std::uint8_t;
};
template <>
struct UnsignedOfSize<2> {
    using type = std::uint16_t;
};
template <>
struct UnsignedOfSize<4> {
    using type = std::uint32_t;
};
template <>
struct UnsignedOfSize<8> {
    using type = std::uint64_t;
};

inline std::uint8_t toBig(std::uint8_t v) {
    return v;
}
inline std::uint16_t toBig(std::uint16_t v) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return __builtin_bswap16(v);
#else
    return v;
#endif
}
inline std::uint32_t toBig(std::uint32_t v) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return __builtin_bswap32(v);
#else
    return v;
#endif
}
inline std::uint64_t toBig(std::uint64_t v) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return __builtin_bswap64(v);
#else
    return v;
#endif
}

// Writes the scalar value at `dst` in big-endian order (sizeof(T) bytes).
template <typename T>
inline void store(unsigned char* dst, T value) {
    static_assert(std::is_arithmetic<T>::value || std::is_enum<T>::value, "scalar expected");
    using U = typename UnsignedOfSize<sizeof(T)>::type;
    U bits;
    std::memcpy(&bits, &value, sizeof(T));
    bits = toBig(bits);
    std::memcpy(dst, &bits, sizeof(T));
}

// Reads a big-endian scalar of sizeof(T) bytes at `src`.
template <typename T>
inline T load(const unsigned char* src) {
    static_assert(std::is_arithmetic<T>::value || std::is_enum<T>::value, "scalar expected");
    using U = typename UnsignedOfSize<sizeof(T)>::type;
    U bits;
    std::memcpy(&bits, src, sizeof(T));
    bits = toBig(bits);
    T value;
    std::memcpy(&value, &bits, sizeof(T));
    return value;
}

}  // namespace vq::eod::byteorder
