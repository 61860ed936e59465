// SerializableError: raised by every serialisation operation for truncated, malformed or
// inconsistent data and by the factory's registry for conflicting registrations.
#pragma once

#include <string>

#include "vq/eod/eoderror.h"

namespace vq::eod {

class VQ_EOD_API SerializableError : public EODError {
public:
    explicit SerializableError(const std::string& message);
    ~SerializableError() override;

    const char* className() const override;  // "SerializableError"
};

}  // namespace vq::eod
