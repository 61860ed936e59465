#include "vq/eod/serializableerror.h"

namespace vq::eod {

SerializableError::SerializableError(const std::string& message) : EODError(message) {}

SerializableError::~SerializableError() = default;

const char* SerializableError::className() const {
    return "SerializableError";
}

}  // namespace vq::eod
