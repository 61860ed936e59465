// EODError: the base of every exception the library raises for bad data or a failing
// environment. Misuse (a call in the wrong state, a wrongly sized vector, a negative read
// position) raises std::invalid_argument instead, with the text "path:line: condition".
#pragma once

#include <stdexcept>
#include <string>

#include "vq/eod/export.h"

namespace vq::eod {

class VQ_EOD_API EODError : public std::runtime_error {
public:
    EODError(const EODError&) = default;
    EODError& operator=(const EODError&) = default;
    ~EODError() override;

    // The message, or "Unknown exception" when the message is empty.
    const char* what() const noexcept override;

    // The name of the concrete class ("SerializableError", "SocketError", ...).
    virtual const char* className() const = 0;

protected:
    explicit EODError(const std::string& message);
};

}  // namespace vq::eod
