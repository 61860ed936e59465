// OutputDataUtilsError: the exception class of the output data utilities (outputdatautils.h),
// for data failures of their own. The accessors and the face-set migration report clashing
// records with SerializableError, as the frame's composite rules do.
#pragma once

#include <string>

#include "vq/eod/eoderror.h"

namespace vq::eod::utils {

class VQ_EOD_API OutputDataUtilsError : public EODError {
public:
    explicit OutputDataUtilsError(const std::string& message);
    ~OutputDataUtilsError() override;

    const char* className() const override;  // "OutputDataUtilsError"
};

}  // namespace vq::eod::utils
