#include "vq/eod/utils/padstring.h"

namespace vq::eod::utils {

std::string padString(const std::string& text, std::size_t length) {
    std::string padded = text.substr(0, length);
    padded.resize(length, ' ');
    return padded;
}

}  // namespace vq::eod::utils
