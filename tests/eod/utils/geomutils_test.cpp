// Geometry: identities between the conversions, the ray functions and every refusal.
#include "vq/eod/utils/geomutils.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "vq/eod/utils/geomutilserror.h"
#include "vqtest/expect.h"

namespace {

using namespace vq::eod::utils;
using Vec = std::vector<float>;

const char* const SOURCE = "src/eod/utils/geomutils.cpp";

template <typename T>
void expectNear(const std::vector<T>& actual, const std::vector<T>& expected, T tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        EXPECT_NEAR(actual[i], expected[i], tolerance) << "element " << i;
    }
}

TEST(GeomUtils, VectorArithmetic) {
    EXPECT_EQ(Vec({1, 2, 3}) + Vec({10, 20, 30}), Vec({11, 22, 33}));
    EXPECT_EQ(Vec({1, 2, 3}) - Vec({3, 2, 1}), Vec({-2, 0, 2}));
    EXPECT_EQ(2.0f * Vec({1, 2, 3, 4}), Vec({2, 4, 6, 8}));
    EXPECT_EQ(innerProduct({1, 2, 3}, {4, 5, 6}), 32.0f);
    EXPECT_EQ(length({3, 4}), 5.0f);
    EXPECT_EQ(crossProduct({1, 0, 0}, {0, 1, 0}), Vec({0, 0, 1}));
    EXPECT_EQ(unitVector({0, 3, 4}), Vec({0, 0.6f, 0.8f}));
    EXPECT_FLOAT_EQ(vectorIntersectionAngle({1, 0, 0}, {0, 0, 2}), static_cast<float>(M_PI / 2));
    EXPECT_TRUE(std::isnan(vectorIntersectionAngle({0, 0, 0}, {1, 0, 0})));
    // Just above and just below the zero-length limit of 2^-23.
    EXPECT_EQ(unitVector({1.2e-7f, 0, 0}), Vec({1, 0, 0}));
    EXPECT_PRECONDITION(unitVector({1e-8f, 0, 0}), SOURCE, "direction has zero length");

    EXPECT_PRECONDITION(Vec({1, 2}) + Vec({1, 2, 3}), SOURCE, "vectors of different dimensions");
    EXPECT_PRECONDITION(Vec({1, 2}) - Vec({1, 2, 3}), SOURCE, "vectors of different dimensions");
    EXPECT_PRECONDITION(innerProduct({1}, {1, 2}), SOURCE, "vectors of different lengths");
    EXPECT_PRECONDITION(crossProduct({1, 2}, {1, 2, 3}), SOURCE, "expect 3D direction vectors");
}

TEST(GeomUtils, PitchYawAndDirections) {
    const Vec ahead = directionFromPitchYaw({0, 0});
    EXPECT_EQ(ahead, Vec({0, 0, -1}));
    EXPECT_EQ(pitchYawFromDirection(ahead), Vec({0, 0}));
    expectNear(directionFromPitchYaw({0, static_cast<float>(M_PI / 2)}), {-1, 0, 0}, 1e-7f);
    expectNear(directionFromPitchYaw({static_cast<float>(M_PI / 2), 0}), {0, 1, 0}, 1e-7f);
    // Length does not matter for the way back.
    expectNear(pitchYawFromDirection({0, 5, -5}), {static_cast<float>(M_PI / 4), 0}, 1e-7f);

    std::mt19937 random(7);
    std::uniform_real_distribution<float> pitch(-1.5f, 1.5f);
    std::uniform_real_distribution<float> yaw(-3.1f, 3.1f);
    for (int i = 0; i < 200; ++i) {
        SCOPED_TRACE("seed 7, draw " + std::to_string(i));
        const Vec angles = {pitch(random), yaw(random)};
        expectNear(pitchYawFromDirection(directionFromPitchYaw(angles)), angles, 2e-6f);
    }
    EXPECT_PRECONDITION(directionFromPitchYaw({0, 0, 0}), SOURCE, "expected vector of size 2");
    EXPECT_PRECONDITION(pitchYawFromDirection({0, 1}), SOURCE, "3D vector expected");
}

TEST(GeomUtils, EulerAnglesMatricesAndQuaternions) {
    // Rx(a) * Ry(b) * Rz(c): rotating about z alone turns the x axis towards y.
    const auto rz = eulerAnglesToRotationMatrix({0, 0, static_cast<float>(M_PI / 2)});
    expectNear(rotMatrixToDirection(rz, X_DIRECTION), {0, 1, 0}, 1e-7f);
    expectNear(rotMatrixToDirection(rz, Z_DIRECTION), {0, 0, 1}, 1e-7f);

    EXPECT_EQ(fromEulerAngles({0, 0, 0}), std::vector<double>({1, 0, 0, 0}));
    EXPECT_EQ(toEulerAngles({1, 0, 0, 0}), std::vector<double>({0, 0, 0}));
    // w is never negative: a turn by 2 pi about x comes back as the identity, not as -1.
    EXPECT_NEAR(fromEulerAngles({2 * M_PI, 0, 0})[0], 1.0, 1e-15);
    // A quaternion that is not of unit length gives the same angles.
    const std::vector<double> q = fromEulerAngles({0.1, 0.2, 0.3});
    expectNear(toEulerAngles({2 * q[0], 2 * q[1], 2 * q[2], 2 * q[3]}), {0.1, 0.2, 0.3}, 1e-12);

    std::mt19937 random(11);
    std::uniform_real_distribution<float> outer(-3.1f, 3.1f);
    std::uniform_real_distribution<float> middle(-1.5f, 1.5f);
    for (int i = 0; i < 200; ++i) {
        SCOPED_TRACE("seed 11, draw " + std::to_string(i));
        const Vec angles = {outer(random), middle(random), outer(random)};
        expectNear(rotMatrixToEulerAngles(eulerAnglesToRotationMatrix(angles)), angles, 1e-5f);
        const std::vector<double> wide(angles.begin(), angles.end());
        expectNear(toEulerAngles(fromEulerAngles(wide)), wide, 1e-9);
    }

    // Gimbal lock: b is exactly pi/2 and the rotation about x goes to c.
    const auto locked = eulerAnglesToRotationMatrix({0.3f, static_cast<float>(M_PI / 2), 0.2f});
    const Vec locked_angles = rotMatrixToEulerAngles(
        {{0, 0, 1}, locked[1], locked[2]});  // first row made exact, as atan2 needs
    EXPECT_EQ(locked_angles[0], 0.0f);
    EXPECT_EQ(locked_angles[1], static_cast<float>(M_PI / 2));
    EXPECT_NEAR(locked_angles[2], 0.5f, 1e-6f);
    EXPECT_EQ(toEulerAngles({std::sqrt(0.5), 0, std::sqrt(0.5), 0})[0], 0.0);  // pi/2 about y

    EXPECT_PRECONDITION(eulerAnglesToRotationMatrix({1, 2}), SOURCE, "3D euler angle expected");
    EXPECT_PRECONDITION(rotMatrixToEulerAngles({{1, 0, 0}, {0, 1, 0}}), SOURCE,
                        "3x3 matrix expected");
    EXPECT_PRECONDITION(rotMatrixToDirection({{1, 0, 0}, {0, 1}, {0, 0, 1}}, Y_DIRECTION), SOURCE,
                        "3x3 matrix expected");
    EXPECT_PRECONDITION(fromEulerAngles({1, 2}), SOURCE, "expected 3D euler_angles");
    EXPECT_PRECONDITION(toEulerAngles({1, 0, 0}), SOURCE, "expected q to be a 4 dimensions");
}

TEST(GeomUtils, RaysClosestApproach) {
    // Two rays that meet at (0, 0, -2), and two that pass 2 apart along y.
    EXPECT_EQ(rayIntersectionPoint({-1, 0, 0}, {1, 0, -2}, {1, 0, 0}, {-1, 0, -2}),
              Vec({0, 0, -2}));
    Vec q1 = {9}, q2;
    pointsOfRaysClosestApproach({0, -1, 0}, {0, 0, -1}, {-1, 1, -4}, {1, 0, 0}, q1, q2);
    EXPECT_EQ(q1, Vec({0, -1, -4}));
    EXPECT_EQ(q2, Vec({0, 1, -4}));
    EXPECT_EQ(rayIntersectionPoint({0, -1, 0}, {0, 0, -1}, {-1, 1, -4}, {1, 0, 0}),
              Vec({0, 0, -4}));

    using vq::eod::utils::GeomUtilsError;
    const char* const parallel = "vq::eod::utils::rayIntersectionPoint : rays are parallel";
    const char* const diverging = "vq::eod::utils::rayIntersectionPoint : rays are diverging";
    float t1 = -7, t2 = -7;
    EXPECT_ERROR_MESSAGE(
        coefficientsOfRaysClosestApproach({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {2, 0, 0}, t1, t2),
        GeomUtilsError, parallel);
    EXPECT_EQ(t1, -7.0f);
    EXPECT_ERROR_MESSAGE(rayIntersectionPoint({0, 0, 0}, {0, 0, 0}, {0, 1, 0}, {1, 0, 0}),
                         GeomUtilsError, parallel);
    // The closest approach is at the first origin (t1 = 0): not in front of it.
    EXPECT_ERROR_MESSAGE(
        coefficientsOfRaysClosestApproach({0, 0, 0}, {1, 0, 0}, {0, 1, 1}, {0, 0, -1}, t1, t2),
        GeomUtilsError, diverging);
    EXPECT_EQ(t1, 0.0f);
    EXPECT_EQ(t2, 1.0f);
    q1 = {9};
    EXPECT_ERROR_MESSAGE(
        pointsOfRaysClosestApproach({-1, 0, 0}, {-1, 0, -2}, {1, 0, 0}, {1, 0, -2}, q1, q2),
        GeomUtilsError, diverging);
    EXPECT_EQ(q1, Vec({9}));
}

TEST(GeomUtils, RayPlaneIntersect) {
    // A skewed 2 x 2 rectangle in the plane z = -4: its left edge leans by 1 in x.
    const Vec tl = {-1, 1, -4}, tr = {1, 1, -4}, bl = {0, -1, -4};
    Vec point, coords;
    EXPECT_TRUE(rayPlaneIntersect({0, 0, 0}, {0, 0, -1}, tl, tr, bl, point, coords));
    EXPECT_EQ(point, Vec({0, 0, -4}));
    EXPECT_EQ(coords, Vec({0.25f, 0.5f}));
    // Outside the rectangle: still a hit, coordinates beyond 1.
    EXPECT_TRUE(rayPlaneIntersect({0, 0, 0}, {1, 0, -1}, tl, tr, bl, point, coords));
    EXPECT_EQ(point, Vec({4, 0, -4}));
    EXPECT_EQ(coords, Vec({2.25f, 0.5f}));
    // Pointing away, or parallel: no hit and both outputs emptied.
    EXPECT_FALSE(rayPlaneIntersect({0, 0, 0}, {0, 0, 1}, tl, tr, bl, point, coords));
    EXPECT_TRUE(point.empty() && coords.empty());
    point = coords = {1};
    EXPECT_FALSE(rayPlaneIntersect({0, 0, 0}, {1, 1, 0}, tl, tr, bl, point, coords));
    EXPECT_TRUE(point.empty() && coords.empty());

    const Vec v2 = {0, 0};
    EXPECT_PRECONDITION(rayPlaneIntersect(v2, v2, v2, v2, v2, point, coords), SOURCE,
                        "ray_origin expected to be 3D");
    EXPECT_PRECONDITION(rayPlaneIntersect(tl, v2, v2, v2, v2, point, coords), SOURCE,
                        "direction expected to be 3D");
    EXPECT_PRECONDITION(rayPlaneIntersect(tl, tl, v2, v2, v2, point, coords), SOURCE,
                        "plane_top_left expected to be 3D");
    EXPECT_PRECONDITION(rayPlaneIntersect(tl, tl, tl, v2, v2, point, coords), SOURCE,
                        "plane_top_right expected to be 3D");
    EXPECT_PRECONDITION(rayPlaneIntersect(tl, tl, tl, tl, v2, point, coords), SOURCE,
                        "plane_bottom_left expected to be 3D");
}

}  // namespace
