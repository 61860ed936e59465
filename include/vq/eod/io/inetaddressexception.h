// InetAddressException: declared for address errors. No operation of the library raises it
// today: a host name that does not resolve makes InetAddress fall back to the local host.
#pragma once

#include <string>

#include "vq/eod/eoderror.h"

namespace vq::eod::io {

class VQ_EOD_API InetAddressException : public EODError {
public:
    explicit InetAddressException(const std::string& message);
    ~InetAddressException() override;

    const char* className() const override;  // "InetAddressException"
};

}  // namespace vq::eod::io
