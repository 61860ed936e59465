// Vector, rotation and ray geometry for the tracker's output.
//
// Vectors are plain std::vector<float>; 3D points and directions have three elements (x, y, z).
// Rotation matrices are three rows of three floats. Quaternions and the Euler angles made from or
// for them are std::vector<double>, quaternions scalar first (w, x, y, z). Angles are radians.
//
// The tracker's camera frame: y points up, and the direction of pitch 0 and yaw 0 is (0, 0, -1).
// Positive pitch turns a direction up, positive yaw turns it towards -x.
//
// Euler angles (a, b, c) mean a rotation about x by a, then about y by b, then about z by c,
// composed as Rx(a) * Ry(b) * Rz(c). Converting back gives b in [-pi/2, pi/2] and a, c in
// (-pi, pi]; at b = +-pi/2 exactly (gimbal lock) a is 0 and c carries the whole rotation about
// the remaining axis.
//
// Precision: everything works in single precision except where a function says "double"; those
// widen their float inputs, compute in double and round the result to float once.
//
// A vector of the wrong size is a programming error (std::invalid_argument "path:line: text");
// two rays without a proper closest approach raise GeomUtilsError. Nothing is clamped: a zero
// vector or a rounding beyond +-1 gives not-a-number where the text says so.
//
// The operators live in vq::eod::utils; bring them in with `using namespace vq::eod::utils;`
// (argument-dependent lookup cannot find them for std::vector).
#pragma once

#include <vector>

#include "vq/eod/export.h"

namespace vq::eod::utils {

// A column of a rotation matrix: the rotated x, y or z axis. The value is the column index.
enum Direction { X_DIRECTION = 0, Y_DIRECTION = 1, Z_DIRECTION = 2 };

// ---- element-wise operators ------------------------------------------------------------------
// Sum of two vectors of equal size ("vectors of different dimensions" otherwise).
VQ_EOD_API std::vector<float> operator+(const std::vector<float>& a, const std::vector<float>& b);
// Each element times s; any size.
VQ_EOD_API std::vector<float> operator*(float s, const std::vector<float>& v);
// -1 * v.
VQ_EOD_API std::vector<float> operator-(const std::vector<float>& v);
// a + (-b), with the size check of operator+.
VQ_EOD_API std::vector<float> operator-(const std::vector<float>& a, const std::vector<float>& b);

// ---- products and lengths --------------------------------------------------------------------
// Sum of the element products in index order ("vectors of different lengths" for unequal sizes).
VQ_EOD_API float innerProduct(const std::vector<float>& a, const std::vector<float>& b);
// Euclidean length, sqrt(innerProduct(v, v)).
VQ_EOD_API float length(const std::vector<float>& v);
// Right-handed cross product of two 3D vectors ("expect 3D direction vectors" otherwise).
VQ_EOD_API std::vector<float> crossProduct(const std::vector<float>& a,
                                           const std::vector<float>& b);
// v divided by its length; any size. A length below the single-precision epsilon (2^-23) is
// refused: "direction has zero length".
VQ_EOD_API std::vector<float> unitVector(const std::vector<float>& v);
// The angle between a and b in radians, 0 to pi; not-a-number for a zero vector.
VQ_EOD_API float vectorIntersectionAngle(const std::vector<float>& a, const std::vector<float>& b);

// ---- angles and directions -------------------------------------------------------------------
// The direction (-cos(pitch) sin(yaw), sin(pitch), -cos(pitch) cos(yaw)) of a (pitch, yaw) pair
// ("expected vector of size 2" otherwise). A unit vector.
VQ_EOD_API std::vector<float> directionFromPitchYaw(const std::vector<float>& pitch_yaw);
// (pitch, yaw) of a 3D direction of any non-zero length ("3D vector expected" otherwise); double.
// Inverts directionFromPitchYaw for |pitch| < pi/2 and |yaw| < pi.
VQ_EOD_API std::vector<float> pitchYawFromDirection(const std::vector<float>& direction);
// The rotation matrix Rx(a) * Ry(b) * Rz(c) of Euler angles (a, b, c) ("3D euler angle expected"
// otherwise); double.
VQ_EOD_API std::vector<std::vector<float>> eulerAnglesToRotationMatrix(
    const std::vector<float>& angles);
// The Euler angles (a, b, c) of a rotation matrix ("3x3 matrix expected" otherwise); double.
// Inverts eulerAnglesToRotationMatrix for |b| < pi/2.
VQ_EOD_API std::vector<float> rotMatrixToEulerAngles(const std::vector<std::vector<float>>& matrix);
// Column `column` of a rotation matrix ("3x3 matrix expected" otherwise).
VQ_EOD_API std::vector<float> rotMatrixToDirection(const std::vector<std::vector<float>>& matrix,
                                                   Direction column);
// The unit quaternion (w, x, y, z) of Euler angles (a, b, c) ("expected 3D euler_angles"
// otherwise): qx(a) * qy(b) * qz(c), normalised so that w >= 0.
VQ_EOD_API std::vector<double> fromEulerAngles(const std::vector<double>& angles);
// The Euler angles of a quaternion (w, x, y, z) ("expected q to be a 4 dimensions" otherwise),
// by the rules of rotMatrixToEulerAngles. The quaternion is not normalised first.
VQ_EOD_API std::vector<double> toEulerAngles(const std::vector<double>& q);

// ---- rays: an origin p and a direction d --------------------------------------------------
// The parameters t1, t2 of the points p1 + t1 d1 and p2 + t2 d2 where the two rays come
// closest. Raises GeomUtilsError "vq::eod::utils::rayIntersectionPoint : rays are parallel" for
// parallel rays or a zero direction (t1, t2 untouched), and "... : rays are diverging" when
// t1 or t2 is not greater than 0, that is, the closest approach lies at or behind an origin
// (t1, t2 then hold the values). The messages name rayIntersectionPoint whichever of the three
// ray functions was called.
VQ_EOD_API void coefficientsOfRaysClosestApproach(const std::vector<float>& p1,
                                                  const std::vector<float>& d1,
                                                  const std::vector<float>& p2,
                                                  const std::vector<float>& d2, float& t1,
                                                  float& t2);
// The two closest points q1 = p1 + t1 d1 and q2 = p2 + t2 d2; the outputs are replaced, and left
// untouched when the rays raise.
VQ_EOD_API void pointsOfRaysClosestApproach(const std::vector<float>& p1,
                                            const std::vector<float>& d1,
                                            const std::vector<float>& p2,
                                            const std::vector<float>& d2, std::vector<float>& q1,
                                            std::vector<float>& q2);
// The midpoint of the two closest points: where two gaze rays meet.
VQ_EOD_API std::vector<float> rayIntersectionPoint(const std::vector<float>& p1,
                                                   const std::vector<float>& d1,
                                                   const std::vector<float>& p2,
                                                   const std::vector<float>& d2);
// Intersects a ray with the plane of the rectangle given by its top-left, top-right and
// bottom-left corners (all five arguments 3D, checked in that order: "ray_origin expected to be
// 3D", "direction expected to be 3D", "plane_top_left expected to be 3D", ...). Empties both
// outputs, then returns false when the ray is parallel to the plane or the plane lies behind the
// origin. Otherwise stores the hit in `point` and its rectangle coordinates (x, y) in
// `plane_coords`, x from 0 at the left edge to 1 at the right, y from 0 at the top to 1 at the
// bottom, along the (possibly skewed) edges, and returns true, also for a hit outside the
// rectangle: the caller compares the coordinates with 0 and 1.
VQ_EOD_API bool rayPlaneIntersect(const std::vector<float>& ray_origin,
                                  const std::vector<float>& direction,
                                  const std::vector<float>& plane_top_left,
                                  const std::vector<float>& plane_top_right,
                                  const std::vector<float>& plane_bottom_left,
                                  std::vector<float>& point, std::vector<float>& plane_coords);

}  // namespace vq::eod::utils
