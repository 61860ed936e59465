#include "vq/eod/utils/geomutils.h"

#include "eod/utils/geomutils_internal.h"

#include <array>
#include <cmath>
#include <limits>

#include "eod/precondition_internal.h"
#include "vq/eod/utils/geomutilserror.h"

namespace vq::eod::utils {

namespace {

constexpr double HALF_PI = 1.5707963267948966;

// Euler angles from the entries of a rotation matrix that they depend on. b comes from the first
// row; at exactly +-pi/2 the rotations about x and z share an axis and all of it goes to c.
std::array<double, 3> eulerFromMatrix(double m00, double m01, double m02, double m12, double m20,
                                      double m21, double m22) {
    const double b = std::atan2(m02, std::sqrt(m00 * m00 + m01 * m01));
    if (b == HALF_PI) {
        return {0.0, b, std::atan2(m21, -m20)};
    }
    if (b == -HALF_PI) {
        return {0.0, b, std::atan2(-m21, m20)};
    }
    const double k = 1.0 / std::cos(b);
    return {std::atan2(-m12 * k, m22 * k), b, std::atan2(-m01 * k, m00 * k)};
}

bool is3x3(const std::vector<std::vector<float>>& matrix) {
    return matrix.size() == 3 && matrix[0].size() == 3 && matrix[1].size() == 3 &&
           matrix[2].size() == 3;
}

}  // namespace

// ---- element-wise operators ------------------------------------------------------------------

std::vector<float> operator+(const std::vector<float>& a, const std::vector<float>& b) {
    VQ_REQUIRE(a.size() == b.size(), "vectors of different dimensions");
    std::vector<float> sum(a.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum[i] = a[i] + b[i];
    }
    return sum;
}

std::vector<float> operator*(float s, const std::vector<float>& v) {
    std::vector<float> product(v.size());
    for (std::size_t i = 0; i < v.size(); ++i) {
        product[i] = s * v[i];
    }
    return product;
}

std::vector<float> operator-(const std::vector<float>& v) {
    return -1.0f * v;
}

std::vector<float> operator-(const std::vector<float>& a, const std::vector<float>& b) {
    return a + (-b);
}

// ---- products and lengths --------------------------------------------------------------------

float innerProduct(const std::vector<float>& a, const std::vector<float>& b) {
    VQ_REQUIRE(a.size() == b.size(), "vectors of different lengths");
    float sum = 0.0f;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += a[i] * b[i];
    }
    return sum;
}

float length(const std::vector<float>& v) {
    return std::sqrt(innerProduct(v, v));
}

std::vector<float> crossProduct(const std::vector<float>& a, const std::vector<float>& b) {
    VQ_REQUIRE(a.size() == 3 && b.size() == 3, "expect 3D direction vectors");
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

std::vector<float> unitVector(const std::vector<float>& v) {
    const float len = length(v);
    VQ_REQUIRE(!(len < std::numeric_limits<float>::epsilon()), "direction has zero length");
    std::vector<float> unit(v.size());
    for (std::size_t i = 0; i < v.size(); ++i) {
        unit[i] = v[i] / len;
    }
    return unit;
}

float vectorIntersectionAngle(const std::vector<float>& a, const std::vector<float>& b) {
    return std::acos(innerProduct(a, b) / (length(b) * length(a)));
}

// ---- angles and directions -------------------------------------------------------------------

std::vector<float> directionFromPitchYaw(const std::vector<float>& pitch_yaw) {
    VQ_REQUIRE(pitch_yaw.size() == 2, "expected vector of size 2");
    const float cos_pitch = std::cos(pitch_yaw[0]);
    return {-cos_pitch * std::sin(pitch_yaw[1]), std::sin(pitch_yaw[0]),
            -cos_pitch * std::cos(pitch_yaw[1])};
}

std::vector<float> pitchYawFromDirection(const std::vector<float>& direction) {
    VQ_REQUIRE(direction.size() == 3, "3D vector expected");
    const double x = direction[0];
    const double y = direction[1];
    const double z = direction[2];
    const double pitch = -std::atan2(-y, std::sqrt(z * z + x * x));
    const double yaw = std::atan2(-x, -z);
    return {static_cast<float>(pitch), static_cast<float>(yaw)};
}

std::vector<std::vector<float>> eulerAnglesToRotationMatrix(const std::vector<float>& angles) {
    VQ_REQUIRE(angles.size() == 3, "3D euler angle expected");
    const double ca = std::cos(static_cast<double>(angles[0]));
    const double sa = std::sin(static_cast<double>(angles[0]));
    const double cb = std::cos(static_cast<double>(angles[1]));
    const double sb = std::sin(static_cast<double>(angles[1]));
    const double cc = std::cos(static_cast<double>(angles[2]));
    const double sc = std::sin(static_cast<double>(angles[2]));
    auto row = [](double x, double y, double z) {
        return std::vector<float>{static_cast<float>(x), static_cast<float>(y),
                                  static_cast<float>(z)};
    };
    return {row(cc * cb, -sc * cb, sb),
            row(sb * sa * cc + sc * ca, cc * ca - sb * sa * sc, -cb * sa),
            row(sc * sa - sb * ca * cc, sb * ca * sc + cc * sa, cb * ca)};
}

std::vector<float> rotMatrixToEulerAngles(const std::vector<std::vector<float>>& matrix) {
    VQ_REQUIRE(is3x3(matrix), "3x3 matrix expected");
    const std::array<double, 3> angles =
        eulerFromMatrix(matrix[0][0], matrix[0][1], matrix[0][2], matrix[1][2], matrix[2][0],
                        matrix[2][1], matrix[2][2]);
    return {static_cast<float>(angles[0]), static_cast<float>(angles[1]),
            static_cast<float>(angles[2])};
}

std::vector<float> rotMatrixToDirection(const std::vector<std::vector<float>>& matrix,
                                        Direction column) {
    VQ_REQUIRE(is3x3(matrix), "3x3 matrix expected");
    return {matrix[0][column], matrix[1][column], matrix[2][column]};
}

std::vector<double> fromEulerAngles(const std::vector<double>& angles) {
    VQ_REQUIRE(angles.size() == 3, "expected 3D euler_angles");
    const double c0 = std::cos(angles[0] / 2);
    const double s0 = std::sin(angles[0] / 2);
    const double c1 = std::cos(angles[1] / 2);
    const double s1 = std::sin(angles[1] / 2);
    const double c2 = std::cos(angles[2] / 2);
    const double s2 = std::sin(angles[2] / 2);
    // qx(a) * qy(b) * qz(c), written out.
    const double w = c0 * c1 * c2 - s0 * s1 * s2;
    const double x = s0 * c1 * c2 + c0 * s1 * s2;
    const double y = c0 * s1 * c2 - s0 * c1 * s2;
    const double z = c0 * c1 * s2 + s0 * s1 * c2;
    // q and -q are the same rotation: pick the one with w >= 0.
    double norm = std::sqrt(w * w + x * x + y * y + z * z);
    if (w < 0) {
        norm = -norm;
    }
    return {w / norm, x / norm, y / norm, z / norm};
}

std::vector<double> toEulerAngles(const std::vector<double>& q) {
    VQ_REQUIRE(q.size() == 4, "expected q to be a 4 dimensions");
    const std::array<double, 3> angles = detail::eulerAnglesOfQuaternion(q.data());
    return {angles[0], angles[1], angles[2]};
}

std::array<double, 3> detail::eulerAnglesOfQuaternion(const double* q) {
    const double w = q[0];
    const double x = q[1];
    const double y = q[2];
    const double z = q[3];
    return eulerFromMatrix(w * w + x * x - y * y - z * z, 2 * x * y - 2 * w * z,
                           2 * w * y + 2 * x * z, 2 * y * z - 2 * w * x, 2 * x * z - 2 * w * y,
                           2 * w * x + 2 * y * z, w * w - x * x - y * y + z * z);
}

// ---- rays ------------------------------------------------------------------------------------

void coefficientsOfRaysClosestApproach(const std::vector<float>& p1, const std::vector<float>& d1,
                                       const std::vector<float>& p2, const std::vector<float>& d2,
                                       float& t1, float& t2) {
    const std::vector<float> w = p1 - p2;
    const float a = innerProduct(d1, d1);
    const float b = innerProduct(d1, d2);
    const float c = innerProduct(d2, d2);
    const float d = innerProduct(d1, w);
    const float e = innerProduct(d2, w);
    const float denominator = a * c - b * b;
    if (!(denominator > 0.0f)) {
        throw GeomUtilsError("vq::eod::utils::rayIntersectionPoint : rays are parallel");
    }
    t1 = (b * e - c * d) / denominator;
    t2 = (a * e - b * d) / denominator;
    if (!(t1 > 0.0f) || !(t2 > 0.0f)) {
        throw GeomUtilsError("vq::eod::utils::rayIntersectionPoint : rays are diverging");
    }
}

void pointsOfRaysClosestApproach(const std::vector<float>& p1, const std::vector<float>& d1,
                                 const std::vector<float>& p2, const std::vector<float>& d2,
                                 std::vector<float>& q1, std::vector<float>& q2) {
    float t1 = 0.0f;
    float t2 = 0.0f;
    coefficientsOfRaysClosestApproach(p1, d1, p2, d2, t1, t2);
    q1 = p1 + t1 * d1;
    q2 = p2 + t2 * d2;
}

std::vector<float> rayIntersectionPoint(const std::vector<float>& p1, const std::vector<float>& d1,
                                        const std::vector<float>& p2,
                                        const std::vector<float>& d2) {
    std::vector<float> q1;
    std::vector<float> q2;
    pointsOfRaysClosestApproach(p1, d1, p2, d2, q1, q2);
    return 0.5f * (q1 + q2);
}

bool rayPlaneIntersect(const std::vector<float>& ray_origin, const std::vector<float>& direction,
                       const std::vector<float>& plane_top_left,
                       const std::vector<float>& plane_top_right,
                       const std::vector<float>& plane_bottom_left, std::vector<float>& point,
                       std::vector<float>& plane_coords) {
    VQ_REQUIRE(ray_origin.size() == 3, "ray_origin expected to be 3D");
    VQ_REQUIRE(direction.size() == 3, "direction expected to be 3D");
    VQ_REQUIRE(plane_top_left.size() == 3, "plane_top_left expected to be 3D");
    VQ_REQUIRE(plane_top_right.size() == 3, "plane_top_right expected to be 3D");
    VQ_REQUIRE(plane_bottom_left.size() == 3, "plane_bottom_left expected to be 3D");
    point.clear();
    plane_coords.clear();

    const std::vector<float> u = plane_top_right - plane_top_left;    // top edge
    const std::vector<float> v = plane_bottom_left - plane_top_left;  // left edge
    const std::vector<float> n = crossProduct(u, v);
    const float n_dot_direction = innerProduct(n, direction);
    if (n_dot_direction == 0.0f) {
        return false;  // the ray runs parallel to the plane
    }
    const float t = innerProduct(plane_top_left - ray_origin, n) / n_dot_direction;
    if (t < 0.0f) {
        return false;  // the plane lies behind the origin
    }
    point = ray_origin + t * direction;

    // Coordinates of r = point - top_left along u and v, which need not be orthogonal.
    const std::vector<float> r = point - plane_top_left;
    const float uu = innerProduct(u, u);
    const float vv = innerProduct(v, v);
    const float uv = innerProduct(u, v);
    const float vu = innerProduct(v, u);
    const float ur = innerProduct(u, r);
    const float vr = innerProduct(v, r);
    const float denominator = vv * uu - uv * vu;
    plane_coords = {(vv * ur - vu * vr) / denominator, (uu * vr - uv * ur) / denominator};
    return true;
}

}  // namespace vq::eod::utils
