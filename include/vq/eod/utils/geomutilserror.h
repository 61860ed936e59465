// GeomUtilsError: raised by the ray functions of the geometry utilities when two rays have no
// point of closest approach in front of both origins.
#pragma once

#include <string>

#include "vq/eod/eoderror.h"

namespace vq::eod::utils {

class VQ_EOD_API GeomUtilsError : public EODError {
public:
    explicit GeomUtilsError(const std::string& message);
    ~GeomUtilsError() override;

    const char* className() const override;  // "GeomUtilsError"
};

}  // namespace vq::eod::utils
