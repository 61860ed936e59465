// Geometry helpers for the library's own records, without the vectors of the public functions.
#pragma once

#include <array>

namespace vq::eod::utils::detail {

// The Euler angles of the quaternion q[0..3] (w, x, y, z), as utils::toEulerAngles gives them.
std::array<double, 3> eulerAnglesOfQuaternion(const double* q);

}  // namespace vq::eod::utils::detail
