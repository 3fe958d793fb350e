#include "console/plausibility.h"

#include <algorithm>
#include <cmath>

#include "calibration/defaults.h"
#include "calibration/orientation.h"
#include "calibration/point_kernels.h"

namespace korvex {

namespace {

constexpr uint32_t MAX_TERMS = 6;
constexpr double MIN_RANGE_SHARE = 0.2; // of the raw span that the points must take on each axis
// what the targets span of the screen, on each axis
constexpr double SPANNED_PERCENT = 100.0 * (TARGET_HIGH - TARGET_LOW) / WORK_RANGE;

struct Place {
    double x;
    double y;
};

// The target in a row and column; four targets go around.
uint32_t TargetAt(uint32_t side, uint32_t row, uint32_t column)
{
    return side == 2 && row == 1 ? 3 - column : side * row + column;
}

// The place of a target on the screen, from -1 to 1 on each axis.
Place PlaceOf(uint32_t side, uint32_t target)
{
    const uint32_t row = target / side;
    const uint32_t column = side == 2 && row == 1 ? 1 - target % side : target % side;
    const auto at = [side](uint32_t step) { return 2.0 * step / (side - 1) - 1; };
    return {at(column), at(row)};
}

// A map of the screen onto the panel: for each axis of the panel a sum of these terms.
struct SmoothMap {
    uint32_t terms; // 3 or 6
    std::array<double, MAX_TERMS> x;
    std::array<double, MAX_TERMS> y;
};

std::array<double, MAX_TERMS> TermsAt(Place place)
{
    return {1, place.x, place.y, place.x * place.x, place.x * place.y, place.y * place.y};
}

Place At(const SmoothMap* map, Place place)
{
    const std::array<double, MAX_TERMS> terms = TermsAt(place);
    Place sum{0, 0};
    for (uint32_t i = 0; i < map->terms; ++i) {
        sum.x += map->x[i] * terms[i];
        sum.y += map->y[i] * terms[i];
    }
    return sum;
}

// Equations for both axes at once, by Gauss' elimination with the largest pivot.
using Equations = std::array<std::array<double, MAX_TERMS + 2>, MAX_TERMS>;

bool Solve(Equations* equations, SmoothMap* map)
{
    constexpr double SINGULAR = 1e-9;
    const uint32_t count = map->terms;
    for (uint32_t pivot = 0; pivot < count; ++pivot) {
        uint32_t best = pivot;
        for (uint32_t row = pivot + 1; row < count; ++row) {
            if (std::fabs((*equations)[row][pivot]) > std::fabs((*equations)[best][pivot]))
                best = row;
        }
        if (std::fabs((*equations)[best][pivot]) < SINGULAR)
            return false;
        std::swap((*equations)[pivot], (*equations)[best]);
        for (uint32_t row = 0; row < count; ++row) {
            if (row == pivot)
                continue;
            const double factor = (*equations)[row][pivot] / (*equations)[pivot][pivot];
            for (uint32_t column = pivot; column < MAX_TERMS + 2; ++column)
                (*equations)[row][column] -= factor * (*equations)[pivot][column];
        }
    }
    for (uint32_t i = 0; i < count; ++i) {
        map->x[i] = (*equations)[i][MAX_TERMS] / (*equations)[i][i];
        map->y[i] = (*equations)[i][MAX_TERMS + 1] / (*equations)[i][i];
    }
    return true;
}

// The least-squares map of all points but one. False when they determine none.
bool Fit(const CalibrationData* calib, uint32_t side, uint32_t without, SmoothMap* map)
{
    Equations equations{};
    for (uint32_t target = 0; target < calib->pointCount; ++target) {
        if (target == without)
            continue;
        const std::array<double, MAX_TERMS> terms = TermsAt(PlaceOf(side, target));
        for (uint32_t row = 0; row < map->terms; ++row) {
            for (uint32_t column = 0; column < map->terms; ++column)
                equations[row][column] += terms[row] * terms[column];
            equations[row][MAX_TERMS] += terms[row] * calib->advPoints[target].x;
            equations[row][MAX_TERMS + 1] += terms[row] * calib->advPoints[target].y;
        }
    }
    return Solve(&equations, map);
}

Place SpanOf(const CalibrationData* calib)
{
    Point minimum = calib->advPoints[0];
    Point maximum = minimum;
    for (uint32_t i = 1; i < calib->pointCount; ++i) {
        const Point point = calib->advPoints[i];
        minimum = {std::min(minimum.x, point.x), std::min(minimum.y, point.y)};
        maximum = {std::max(maximum.x, point.x), std::max(maximum.y, point.y)};
    }
    return {static_cast<double>(maximum.x) - minimum.x, static_cast<double>(maximum.y) - minimum.y};
}

// How far a target lies from a map, in percent of the screen, on each axis of the panel.
Place OffsetFrom(
    const SmoothMap* map, const CalibrationData* calib, uint32_t side, uint32_t target, Place span)
{
    const Place fitted = At(map, PlaceOf(side, target));
    return {SPANNED_PERCENT * (calib->advPoints[target].x - fitted.x) / span.x,
        SPANNED_PERCENT * (calib->advPoints[target].y - fitted.y) / span.y};
}

// The sum of the squares of all distances but one.
double SquaresWithout(
    const SmoothMap* map, const CalibrationData* calib, uint32_t side, uint32_t without, Place span)
{
    double sum = 0;
    for (uint32_t target = 0; target < calib->pointCount; ++target) {
        const Place offset = OffsetFrom(map, calib, side, target, span);
        sum += target == without ? 0 : offset.x * offset.x + offset.y * offset.y;
    }
    return sum;
}

void NameFault(PointsJudgement* judgement, PointsFault fault, uint32_t target, uint32_t other)
{
    judgement->fault = fault;
    judgement->target = target;
    judgement->other = other;
}

bool FindSamePlace(const CalibrationData* calib, PointsJudgement* judgement)
{
    for (uint32_t target = 0; target < calib->pointCount; ++target) {
        for (uint32_t other = target + 1; other < calib->pointCount; ++other) {
            if (calib->advPoints[target] == calib->advPoints[other]) {
                NameFault(judgement, PointsFault::SAME_PLACE, target, other);
                return true;
            }
        }
    }
    return false;
}

// Looks at all neighbours: after the orientation x grows along each row, and y down each column.
bool FindDisorder(const CalibrationData* calib, uint32_t side, PointsJudgement* judgement)
{
    for (uint32_t line = 0; line < side; ++line) {
        for (uint32_t step = 0; step + 1 < side; ++step) {
            const uint32_t left = TargetAt(side, line, step);
            const uint32_t right = TargetAt(side, line, step + 1);
            const uint32_t upper = TargetAt(side, step, line);
            const uint32_t lower = TargetAt(side, step + 1, line);
            if (calib->refPoints[left].x >= calib->refPoints[right].x)
                NameFault(judgement, PointsFault::ORDER, left, right);
            else if (calib->refPoints[upper].y >= calib->refPoints[lower].y)
                NameFault(judgement, PointsFault::ORDER, upper, lower);
            else
                continue;
            return true;
        }
    }
    return false;
}

// Twice the signed area of a triangle.
double AreaOf(Point a, Point b, Point c)
{
    return (static_cast<double>(b.x) - a.x) * (static_cast<double>(c.y) - a.y)
        - (static_cast<double>(b.y) - a.y) * (static_cast<double>(c.x) - a.x);
}

// A cell between four targets is turned over, or its corner reaches into it, where one of its
// triangles is.
bool FindFold(const CalibrationData* calib, uint32_t side, PointsJudgement* judgement)
{
    for (uint32_t row = 0; row + 1 < side; ++row) {
        for (uint32_t column = 0; column + 1 < side; ++column) {
            const std::array<uint32_t, 4> corners{TargetAt(side, row, column),
                TargetAt(side, row, column + 1), TargetAt(side, row + 1, column + 1),
                TargetAt(side, row + 1, column)};
            for (uint32_t i = 0; i < 4; ++i) {
                if (AreaOf(calib->refPoints[corners[i]], calib->refPoints[corners[(i + 1) % 4]],
                        calib->refPoints[corners[(i + 2) % 4]])
                    <= 0) {
                    NameFault(judgement, PointsFault::FOLD, corners[(i + 1) % 4], NO_TARGET);
                    return true;
                }
            }
        }
    }
    return false;
}

// Fills in the residuals, the suspects and the outlier.
void CompareWithOthers(const CalibrationData* calib, uint32_t side, PointsJudgement* judgement)
{
    const Place span = SpanOf(calib);
    const bool swapped = SwapsAxes(calib->orientation);
    double least = 0;
    for (uint32_t target = 0; target < calib->pointCount; ++target) {
        SmoothMap others{side == 2 ? 3U : MAX_TERMS, {}, {}};
        if (!Fit(calib, side, target, &others))
            continue;
        const Place offset = OffsetFrom(&others, calib, side, target, span);
        judgement->residuals[target]
            = {std::fabs(swapped ? offset.y : offset.x), std::fabs(swapped ? offset.x : offset.y)};
        if (ResidualPercent(judgement, target) <= MAX_RESIDUAL_PERCENT)
            continue;
        judgement->suspects |= 1U << target;
        const double squares = side == 2 ? 0 : SquaresWithout(&others, calib, side, target, span);
        if (judgement->outlier == NO_TARGET || squares <= least) {
            judgement->outlier = target;
            least = squares;
        }
    }
}

} // namespace

PointsJudgement JudgePoints(const CalibrationData* calib, uint32_t resolutionBits)
{
    PointsJudgement judgement{PointsFault::NONE, NO_TARGET, NO_TARGET, {}, 0, NO_TARGET};
    const uint32_t side = SideOf(calib->pointCount);
    if (side == 0)
        return judgement;
    const bool isSame = FindSamePlace(calib, &judgement);
    const Place span = SpanOf(calib);
    const double least = MIN_RANGE_SHARE * (1 << resolutionBits);
    if (span.x < least || span.y < least) {
        if (!isSame)
            judgement.fault = PointsFault::RANGE;
        return judgement;
    }
    CompareWithOthers(calib, side, &judgement);
    if (!isSame && !FindDisorder(calib, side, &judgement) && !FindFold(calib, side, &judgement)
        && judgement.suspects != 0)
        NameFault(
            &judgement, PointsFault::UNEVEN, side == 2 ? NO_TARGET : judgement.outlier, NO_TARGET);
    return judgement;
}

uint32_t ResolutionOfPoints(const CalibrationData* calib)
{
    constexpr int32_t MAX_LOW = (1 << LOW_RESOLUTION_BITS) - 1;
    const bool isLow = std::all_of(calib->advPoints.begin(),
        calib->advPoints.begin() + static_cast<ptrdiff_t>(calib->pointCount),
        [](const Point& point) { return point.x <= MAX_LOW && point.y <= MAX_LOW; });
    return isLow ? LOW_RESOLUTION_BITS : HIGH_RESOLUTION_BITS;
}

double ResidualPercent(const PointsJudgement* judgement, uint32_t target)
{
    return std::hypot(judgement->residuals[target].x, judgement->residuals[target].y);
}

} // namespace korvex
