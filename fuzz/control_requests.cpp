// Any lines on the control socket: each is answered by one line with a JSON object, and what was
// tried is taken back at the end.

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "harness.h"
#include "runtime/control_protocol.h"
#include "runtime/running_sessions.h"
#include "settings.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    const fuzz::InOwnFolder folder;
    TouchController* controller = CreateController();
    command::HandleSessionEvent(controller, SessionEvent::STARTED);
    const CalibrationData before = CopyCalibration(controller);

    command::Conversation conversation;
    bool stored = false;
    std::string line;
    for (size_t i = 0; i <= size; ++i) {
        if (i < size && bytes[i] != '\n') {
            line.push_back(static_cast<char>(bytes[i]));
            continue;
        }
        const std::string answer = command::Answer(line, &conversation);
        const nlohmann::json object = nlohmann::json::parse(answer, nullptr, false);
        if (!object.is_object() || answer.find('\n') != answer.size() - 1)
            abort();
        stored = stored || object.value("stored", false);
        line.clear();
    }
    command::RevertAll(&conversation);
    const CalibrationData after = CopyCalibration(controller);
    if (!stored
        && (after.advPoints != before.advPoints || after.stdMaxX != before.stdMaxX
            || after.orientation != before.orientation))
        abort(); // a client has left something over
    command::HandleSessionEvent(controller, SessionEvent::STOPPING);
    ReleaseController(controller);
    return 0;
}
