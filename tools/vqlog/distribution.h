// Distribution: positive values (durations, intervals) kept in bounded memory for their
// quantiles, for vqlog's info and stats.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace vqlog {

// Positive values in bins 1 % wide from 1e-6 to 1e10 (smaller ones in the first bin): quantiles
// within 1 % in bounded memory. A bin keeps the sum of its values, so equal values come back
// exactly (a median frame interval of 1 is 1).
class Distribution {
public:
    void add(double value) {
        std::size_t bin = 0;
        if (value > LOWEST) {
            bin = std::min(BINS - 1, static_cast<std::size_t>(std::log(value / LOWEST) / STEP));
        }
        ++_counts[bin];
        _sums[bin] += value;
        _max = _count++ == 0 ? value : std::max(_max, value);
    }
    std::uint64_t count() const { return _count; }
    double max() const { return _max; }
    // The mean of the bin holding the q-quantile (nearest rank); needs count() > 0.
    double quantile(double q) const {
        const auto rank = std::max<std::uint64_t>(
            1, static_cast<std::uint64_t>(std::ceil(q * static_cast<double>(_count))));
        std::uint64_t seen = 0;
        for (std::size_t bin = 0; bin < BINS; ++bin) {
            seen += _counts[bin];
            if (_counts[bin] > 0 && seen >= rank) {
                return _sums[bin] / static_cast<double>(_counts[bin]);
            }
        }
        return _max;
    }
    // The values of the bins whose mean is above `limit`: how many and their sum.
    std::pair<std::uint64_t, double> above(double limit) const {
        std::pair<std::uint64_t, double> result{0, 0.0};
        for (std::size_t bin = 0; bin < BINS; ++bin) {
            if (_counts[bin] > 0 && _sums[bin] / static_cast<double>(_counts[bin]) > limit) {
                result.first += _counts[bin];
                result.second += _sums[bin];
            }
        }
        return result;
    }

private:
    static constexpr double LOWEST = 1e-6;
    static constexpr std::size_t BINS = 3703;            // ln(10^16) / ln(1.01)
    static constexpr double STEP = 0.00995033085316809;  // ln(1.01)
    std::array<std::uint64_t, BINS> _counts{};
    std::array<double, BINS> _sums{};
    std::uint64_t _count = 0;
    double _max = 0;
};

}  // namespace vqlog
