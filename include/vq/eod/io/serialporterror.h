// SerialPortError: raised by the throwing operations of SerialPort when the device or the line
// fails: the port cannot be opened, a read or write fails or times out, a datagram arrives with
// a bad checksum.
#pragma once

#include <string>

#include "vq/eod/eoderror.h"

namespace vq::eod::io {

class VQ_EOD_API SerialPortError : public EODError {
public:
    // `timeout` tells whether the failure was a time-out rather than an error of the device.
    explicit SerialPortError(const std::string& message, bool timeout = false);
    ~SerialPortError() override;

    const char* className() const override;  // "SerialPortError"

    // Whether the operation ran out of time (the line stayed silent or could not take the
    // bytes); false for every other failure.
    bool timeout() const { return _timeout; }

private:
    bool _timeout;
};

}  // namespace vq::eod::io
