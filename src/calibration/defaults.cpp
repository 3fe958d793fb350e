#include "calibration/defaults.h"

#include "link/command_protocol.h"

namespace korvex {

namespace {

// No answer of this model is accepted yet (PacketIsValid), so the span becomes 0.
bool QueryRawRange(TouchController* controller, Point* rawRange)
{
    const Packet command{COMMAND_RAW_RANGE};
    Packet answer{};
    if (!Transact(controller, &command, &answer))
        return false;
    rawRange->x = static_cast<int32_t>(DecodeCoord(controller, &answer[1], false));
    rawRange->y = static_cast<int32_t>(DecodeCoord(controller, &answer[3], false));
    return true;
}

} // namespace

bool SetCalibrationRanges(CalibrationData* calib, const Point* rawRange, const Point* outRange)
{
    if (rawRange != nullptr) {
        calib->rawRangeX = rawRange->x;
        calib->rawRangeY = rawRange->y;
    }
    if (outRange != nullptr) {
        calib->outRangeX = outRange->x;
        calib->outRangeY = outRange->y;
    }
    calib->workRangeX = WORK_RANGE;
    calib->workRangeY = WORK_RANGE;
    return true;
}

bool SetDefaultCalibration(TouchController* controller)
{
    bool succeeded = true;
    Point rawRange{0, 0};
    controller->resolutionBits = LOW_RESOLUTION_BITS;
    switch (controller->model) {
    case MODEL_2400:
        succeeded = QueryRawRange(controller, &rawRange);
        controller->calib.mapMode = 0;
        break;
    case MODEL_5200:
    case MODEL_5460:
    case MODEL_7700: {
        if (controller->model == MODEL_5200)
            succeeded = QueryResolution(controller);
        const int32_t span = int32_t{1} << controller->resolutionBits;
        rawRange = {span, span};
        controller->calib.mapMode = 1;
        break;
    }
    default:
        break;
    }
    const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
    SetCalibrationRanges(&controller->calib, &rawRange, &outRange);
    return succeeded;
}

} // namespace korvex
