// Lookups in the table of kinds that serve the library's own classes.
#pragma once

#include <string>

namespace vq::eod::detail {

// The element that `id` stands for when it is a kind of the class `class_name` ("R_PUPILPOS"
// for FEATURE_POINT_R_PUPILPOS and "FeaturePoint"), else `otherwise`.
std::string elementName(char id, const char* class_name, const char* otherwise);

}  // namespace vq::eod::detail
