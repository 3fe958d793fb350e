#include "console/resting_place.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace korvex {

void AddSample(TouchSamples* samples, Point place)
{
    constexpr std::ptrdiff_t KEPT = TouchSamples::CAPACITY / 2;
    if (samples->count == TouchSamples::CAPACITY) {
        std::move(samples->places.begin() + KEPT + 1, samples->places.end(),
            samples->places.begin() + KEPT);
        --samples->count;
    }
    samples->places[samples->count++] = place;
}

Point RestingPlace(const TouchSamples* samples, uint32_t begin, uint32_t end, int32_t minOutlier)
{
    // of the median distance from the median; noise reaches it once in a hundred times
    constexpr int32_t OUTLIER_FACTOR = 4;
    static std::array<int32_t, TouchSamples::CAPACITY> values;
    const uint32_t count = end - begin;
    const auto median = [count] {
        std::sort(values.begin(), values.begin() + count);
        return values[count / 2];
    };
    const auto rest = [&](int32_t Point::* axis) {
        for (uint32_t i = 0; i < count; ++i)
            values[i] = samples->places[begin + i].*axis;
        const int32_t middle = median();
        for (uint32_t i = 0; i < count; ++i)
            values[i] = std::abs(samples->places[begin + i].*axis - middle);
        const int32_t limit = std::max(minOutlier, OUTLIER_FACTOR * median());
        int64_t sum = 0;
        int64_t kept = 0;
        for (uint32_t i = begin; i < end; ++i) {
            const int32_t value = samples->places[i].*axis;
            sum += std::abs(value - middle) <= limit ? value : 0;
            kept += std::abs(value - middle) <= limit ? 1 : 0;
        }
        return static_cast<int32_t>((2 * sum + kept) / (2 * kept)); // rounded
    };
    return {rest(&Point::x), rest(&Point::y)};
}

} // namespace korvex
