// A runtime that is asked while it runs, by its own commands and by programs of others, well and
// badly made.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <list>
#include <nlohmann/json.hpp>
#include <random>

#include "control/control_address.h"
#include "control/json_line.h"
#include "testing/process.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using Json = nlohmann::json;

const std::string KORVEX = KORVEX_COMMAND;

// A panel that `korvex drive` drives, and its control socket.
struct DrivenPanel {
    TemporaryFolder folder;
    emulator::EmulatorPointer panel = emulator::StartEmulator({});
    std::unique_ptr<Process> drive;
    std::string said; // by then
    std::string socket;

    // Driven by a shell's words, once it has said these.
    explicit DrivenPanel(const std::string& words = "")
    {
        WriteTextFile("Korvex.ini", "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\n");
        setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
        PlaceLink("panel", panel.get());
        drive = std::make_unique<Process>(Texts{
            "sh", "-c", words + "exec " + KORVEX + " drive --pointer log --trace trace panel"});
        while (said.find("controller 5200") == std::string::npos) {
            const std::string line = ReadLine(drive->error);
            said += line.empty() ? "controller 5200 was not said" : line;
        }
        EXPECT_THAT(said, Not(HasSubstr("was not said")));
        socket = command::ControlSockets().at(0);
    }
};

// Lets other users at the socket, in its folders of the temporary one.
void AllowOthers(const std::filesystem::path& socket)
{
    for (const std::filesystem::path& path :
        {socket, socket.parent_path(), socket.parent_path().parent_path()})
        EXPECT_EQ(chmod(path.c_str(), 0777), 0);
}

// A client with lines of its own, root's or another user's.
struct Client {
    int socket = -1;

    explicit Client(const DrivenPanel* driven, uid_t user = 0)
    {
        sockaddr_un address{};
        EXPECT_TRUE(command::ControlAddressOf(driven->socket, &address));
        if (user != 0) {
            AllowOthers(driven->socket);
            EXPECT_EQ(seteuid(user), 0);
        }
        EXPECT_TRUE(WaitUntil([&] { return (socket = command::ConnectTo(&address)) >= 0; }));
        if (user != 0) {
            EXPECT_EQ(seteuid(0), 0);
        }
    }
    ~Client() { close(socket); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
};

bool Say(const Client* client, const std::string& text)
{
    return send(client->socket, text.data(), text.size(), MSG_NOSIGNAL)
        == static_cast<ssize_t>(text.size());
}

std::string Ask(const Client* client, const std::string& request)
{
    Say(client, request + "\n");
    return ReadLine(client->socket);
}

std::string Greeted(const Client* client)
{
    return ReadLine(client->socket);
}

TEST(Control, ReadsTriesStoresAndTakesBackACalibrationWhileItDrives)
{
    DrivenPanel driven;
    const auto touch = [&driven] {
        TouchAt(driven.panel.get(), 50, 50);
        Lift(driven.panel.get());
        std::string input = ReadLine(driven.drive->output);
        ReadLine(driven.drive->output);
        return input;
    };
    const std::string plain = R"({"dx":32767,"dy":32767,"flags":32771})";
    const std::string tried = R"({"do":"try","calibration":{"box":[0,0,512,512]}})";
    const std::string corner = R"({"dx":65535,"dy":65535,"flags":32771})";
    EXPECT_EQ(touch(), plain);
    {
        const Client client(&driven);
        EXPECT_THAT(Greeted(&client), EndsWith(R"("protocol":1})"));
        EXPECT_EQ(Json::parse(Ask(
                      &client, R"({"do":"calibration","panel":"panel","id":7})"))["calibration"],
            Json::parse(R"({"orientation":1,"box":[0,0,1024,1024],"points":[]})"));
        EXPECT_EQ(Ask(&client, tried), R"({"re":"try"})");
        EXPECT_EQ(touch(), corner);
        EXPECT_EQ(Ask(&client, R"({"do":"takeBack"})"), R"({"re":"takeBack"})");
        EXPECT_EQ(touch(), plain);
        EXPECT_EQ(Ask(&client, tried), R"({"re":"try"})");
        const Client second(&driven);
        Greeted(&second);
        EXPECT_THAT(Ask(&second, tried), HasSubstr("another client is trying"));
        for (const auto& [request, fault] :
            std::vector<std::pair<std::string, std::string>>{{"tea", "not a JSON object"},
                {R"({"do":"status","id":)" + std::string(32000, '[') + std::string(32000, ']')
                        + "}",
                    "'id' is neither"},
                {R"({"do":"calibration","panel":["x"]})", "'panel' is no text"},
                {"{}", "'do' is missing"}, {R"({"do":"fly"})", "'fly' is not a request"},
                {R"({"do":"listen","panel":"x"})", "no panel 'x'"},
                {R"({"do":"store","calibration":{"box":[1,2,1,4]}})", "another client"}})
            EXPECT_THAT(Ask(&second, request), HasSubstr(fault)) << request;
        for (const auto& [calibration, fault] :
            std::vector<std::pair<std::string, std::string>>{{"7", "'calibration' is missing"},
                {R"({"box":[1,2,1,4]})", "'box'"}, {R"({"box":[0,0,1024,9]})", "less than a fifth"},
                {R"({"points":[[1,1],[1,1],[1,1],[1,1]]})", "measured at the same place"},
                {R"({"points":[[1,1],[1024,1],[900,900],[1,900]]})", "point 2 is not within"},
                {R"({"points":[[1,2]]})", "'points' are not 0, 4"},
                {R"({"points":[[1,2],[3],[1,2],[1,2]]})", "point 2"},
                {R"({"orientation":9})", "'orientation'"},
                {R"({"box":[0,0,1,99999999999]})", "'box'"}, {R"({"tea":1})", "'tea'"},
                {R"({"box":[18446744073709551615,0,1024,1024]})", "'box'"}})
            EXPECT_THAT(Ask(&client, R"({"do":"try","calibration":)" + calibration + "}"),
                HasSubstr(fault));
    }
    EXPECT_TRUE(WaitUntil([&] { return touch() == plain; }))
        << "the end of a connection takes back what it tried";
    const Client member(&driven, 65534);
    const Client root(&driven);
    Greeted(&member);
    Greeted(&root);
    EXPECT_EQ(Ask(&member, tried), R"({"re":"try"})");
    EXPECT_EQ(touch(), corner);
    EXPECT_EQ(Ask(&root, R"({"do":"takeBack"})"), R"({"re":"takeBack"})");
    EXPECT_EQ(touch(), plain) << "root takes back what another user tries";
    EXPECT_EQ(Ask(&root, tried), R"({"re":"try"})");
    EXPECT_EQ(Ask(&member, R"({"do":"takeBack"})"), R"({"re":"takeBack"})");
    EXPECT_EQ(touch(), corner) << "others do not";
    EXPECT_EQ(Ask(&root, R"({"do":"takeBack"})"), R"({"re":"takeBack"})");
    EXPECT_THAT(ReadTextFile("Korvex.ini"), HasSubstr("STD_MAX_X=1024"));

    const Client client(&driven);
    Greeted(&client);
    EXPECT_THAT(Ask(&client, R"({"do":"store"})"), HasSubstr("none is being tried"));
    ASSERT_EQ(rename("Korvex.ini", "kept"), 0);
    std::filesystem::create_directory("Korvex.ini");
    const Json refused
        = Json::parse(Ask(&client, R"({"do":"store","calibration":{"box":[0,0,512,512]}})"));
    EXPECT_EQ(refused["stored"], false);
    EXPECT_THAT(refused["error"].get<std::string>(), HasSubstr("Korvex.ini"));
    EXPECT_EQ(touch(), plain) << "what is not on the disk is not used either";
    std::filesystem::remove("Korvex.ini");
    ASSERT_EQ(rename("kept", "Korvex.ini"), 0);
    EXPECT_EQ(Ask(&client, tried), R"({"re":"try"})");
    EXPECT_EQ(Json::parse(Ask(&client, R"({"do":"store"})"))["stored"], true);
    EXPECT_THAT(ReadTextFile("Korvex.ini"), HasSubstr("STD_MAX_X=512"));
    EXPECT_THAT(ReadLineWith(driven.drive->error, "calibration"),
        HasSubstr("has changed, and is stored in '"));
    EXPECT_EQ(Ask(&client, R"({"do":"takeBack"})"), R"({"re":"takeBack"})");
    EXPECT_EQ(touch(), corner) << "what is stored stays";
    EXPECT_EQ(EndBySignal(driven.drive.get(), SIGTERM), 0);
    EXPECT_FALSE(std::filesystem::exists(driven.socket));
}

// What a person sees of a panel that a runtime drives: with the touches going on.
TEST(Control, ServesStatusMonitorAndCheckOfAPortThatIsHeld)
{
    DrivenPanel driven;
    const std::string tty = TerminalPath(driven.panel.get());
    TouchAt(driven.panel.get(), 25, 75);
    ReadLine(driven.drive->output);
    const Json status = Json::parse(RunProgram({KORVEX, "status", "--json"}).output);
    ASSERT_EQ(status.size(), 1U);
    for (const auto& [key, value] : std::map<std::string, Json>{{"tty", tty}, {"gone", false},
             {"model", "5200"}, {"reports", 1}, {"touching", true}, {"raw", {256, 768}},
             {"process", driven.drive->pid}})
        EXPECT_EQ(status[0][key], value) << key;
    EXPECT_THAT(status[0]["calibration"]["file"].get<std::string>(), EndsWith("Korvex.ini"));
    EXPECT_THAT(RunProgram({KORVEX, "status"}).output, HasSubstr(tty + "  there  5200"));

    Process monitor({KORVEX, "monitor", "--json", "panel"});
    EXPECT_THAT(ReadLineWith(monitor.error, "panel"),
        EndsWith(", driven by process " + std::to_string(driven.drive->pid)));
    EXPECT_NE(ReadLineWith(monitor.output, R"("raw":[256,768])"), "");
    DragTo(driven.panel.get(), 50, 75, 1);
    EXPECT_NE(ReadLineWith(monitor.output, R"("raw":[512,768])"), "");
    EXPECT_EQ(ReadLine(driven.drive->output), R"({"dx":32767,"dy":49151,"flags":32769})");

    Process check({KORVEX, "check", "--state", "state", "--seconds", "1", "--port", "COM1=" + tty});
    EXPECT_NE(ReadLineWith(check.error, "Touch each panel now"), "");
    Lift(driven.panel.get());
    EXPECT_NE(ReadLineWith(check.output, "driven by process"), "");
    EXPECT_THAT(ReadLineWith(check.output, "reports: "), EndsWith("reports: 1, all good"));
    const std::string elsewhere = "mkdir other; cd other && exec " + KORVEX
        + " check --seconds 0 --state state --port COM1=" + tty;
    EXPECT_THAT(RunProgram({"sh", "-c", elsewhere}).output,
        HasSubstr("ok     COM1      '" + (driven.folder.path / "Korvex.ini").string() + "'"))
        << "the file that its runtime goes by";

    EXPECT_THAT(RunProgram({KORVEX, "ports", "--state", "state", "--port", "COM1=" + tty}).output,
        HasSubstr("5200   process " + std::to_string(driven.drive->pid)));

    EXPECT_EQ(EndBySignal(driven.drive.get(), SIGTERM), 0);
    EXPECT_NE(ReadLineWith(monitor.output, R"("gone":true)"), "");
    {
        Process again({KORVEX, "drive", "--pointer", "log", "panel"});
        EXPECT_NE(ReadLineWith(monitor.output, R"("gone":false)"), "")
            << "the monitor has left the port to the runtime";
        EXPECT_EQ(EndBySignal(&again, SIGTERM), 0);
    }
    EXPECT_EQ(EndBySignal(&monitor, SIGTERM), 0);
    EXPECT_EQ(RunProgram({KORVEX, "status"}).exitCode, 4);
}

// A number in a status file of the kernel's.
uint64_t NumberOf(const std::filesystem::path& file, const std::string& name)
{
    const std::string status = ReadTextFile(file);
    const size_t start = status.find("\n" + name + ":");
    return start == std::string::npos
        ? 0
        : std::strtoull(status.c_str() + start + name.size() + 2, nullptr, 10);
}

uint64_t MemoryPeakOf(pid_t process) // in kilobytes
{
    return NumberOf("/proc/" + std::to_string(process) + "/status", "VmHWM");
}

TEST(Control, LosesNoTouchWhateverItsClientsDo)
{
    DrivenPanel driven;
    const Client listener(&driven);
    Greeted(&listener);
    EXPECT_EQ(Ask(&listener, R"({"do":"listen"})"), R"({"re":"listen"})");
    const uint64_t before = MemoryPeakOf(driven.drive->pid);

    std::atomic<bool> done = false;
    // A full line has 320 reports a second; the inputs are read so that nobody waits for this test.
    constexpr int REPORTS = 1500;
    std::thread inputs([&] {
        for (int i = 0; i < REPORTS; ++i)
            ReadLine(driven.drive->output);
    });
    std::thread finger([&] {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < REPORTS; ++i) {
            // the line's pace
            std::this_thread::sleep_until(start + i * std::chrono::microseconds(3125));
            SendReport(driven.panel.get(), true, static_cast<uint32_t>(i % 1000), 500);
        }
    });
    std::thread others([&] {
        std::vector<std::unique_ptr<Client>> crowd;
        for (int i = 0; i < 200 && !done; ++i)
            crowd.push_back(std::make_unique<Client>(&driven));
        crowd.clear();
        const Client deaf(&driven); // asks and does not read
        for (int i = 0; i < 20000 && !done; ++i) {
            constexpr std::string_view STATUS = "{\"do\":\"status\"}\n";
            if (send(deaf.socket, STATUS.data(), STATUS.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0
                && errno != EAGAIN)
                break;
        }
        const Client half(&driven);
        Say(&half, R"({"do":"sta)");
        const Client loud(&driven);
        for (size_t sent = 0; sent < 100'000'000 && !done;) {
            static const std::string PIECE(100'000, 'x');
            const ssize_t count
                = send(loud.socket, PIECE.data(), PIECE.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count < 0 && errno != EAGAIN)
                break; // it was dropped
            sent += static_cast<size_t>(std::max<ssize_t>(count, 0));
        }
        // asks for more than can be done at once, each written to the disk
        const Client busy(&driven);
        std::string stores;
        for (int i = 0; i < 60; ++i)
            stores += R"({"do":"store","calibration":{"box":[0,0,1024,)" + std::to_string(1000 + i)
                + "]}}\n";
        Say(&busy, stores);
        std::mt19937 random(1);
        for (int i = 0; i < 50 && !done; ++i) {
            const Client noise(&driven);
            std::string bytes(1000, '\n');
            for (char& byte : bytes)
                byte = static_cast<char>(random());
            Say(&noise, bytes + "[[[[[[[[[[[[[[[[{\n");
        }
    });
    int received = 0;
    for (uint32_t next = 1; received < REPORTS; ++received, ++next) {
        const std::string line = ReadLine(listener.socket);
        ASSERT_THAT(line, HasSubstr("\"sequence\":" + std::to_string(next) + ","))
            << "after " << received;
    }
    done = true;
    for (std::thread* thread : {&inputs, &finger, &others})
        thread->join();
    EXPECT_EQ(received, REPORTS);
    EXPECT_LT(MemoryPeakOf(driven.drive->pid) - before, 64U * 1024);
    EXPECT_EQ(RunProgram({KORVEX, "status"}).exitCode, 0) << "it still answers";
}

// The sum over the process's threads of how often each has gone to sleep by itself.
uint64_t SleepsOf(pid_t process)
{
    uint64_t sleeps = 0;
    for (const auto& thread :
        std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
#ifdef __SANITIZE_THREAD__
        // the sanitizer's own thread
        if (ReadTextFile(thread.path() / "syscall")
                .starts_with(std::to_string(SYS_nanosleep) + " "))
            continue;
#endif
        sleeps += NumberOf(thread.path() / "status", "voluntary_ctxt_switches");
    }
    return sleeps;
}

TEST(Control, WakesAnIdleRuntimeNotOnceWithinASecond)
{
    DrivenPanel driven;
    {
        const Client client(&driven);
        Greeted(&client);
        Ask(&client, R"({"do":"listen"})");
        // Events come while it takes the runtime some time to read that nobody listens any more.
        std::string silence = R"({"do":"silence")";
        for (int i = 0; i < 6000; ++i)
            silence += ",\"k" + std::to_string(i) + "\":0";
        Say(&client, silence + "}\n");
        for (int i = 0; i < 100; ++i)
            SendReport(driven.panel.get(), true, 512, 512);
        while (!ReadLine(client.socket).starts_with(R"({"re":"silence")")) { }
        Lift(driven.panel.get());
    }
    const Client silent(&driven);
    Greeted(&silent);
    TouchAt(driven.panel.get(), 50, 50);
    ReadLine(driven.drive->output);
    uint64_t before = 0;
    auto changed = std::chrono::steady_clock::now();
    EXPECT_TRUE(WaitUntil([&] { // until it has come to rest
        if (before != std::exchange(before, SleepsOf(driven.drive->pid)))
            changed = std::chrono::steady_clock::now();
        return std::chrono::steady_clock::now() - changed > milliseconds(300);
    }));
    const int64_t used = ProcessorTime(driven.drive->pid);
    std::this_thread::sleep_for(std::chrono::seconds(1)); // what is measured
    EXPECT_EQ(SleepsOf(driven.drive->pid), before);
    EXPECT_LT(ProcessorTime(driven.drive->pid) - used, 200);
}

// Sixteen clients that send a byte now and then, and never a request, keep no place.
TEST(Control, HasAPlaceForWhoAsksWhateverOthersTrickle)
{
    const DrivenPanel driven;
    std::list<Client> crowd;
    while (crowd.size() < 16)
        Greeted(&crowd.emplace_back(&driven));
    RunResult status{};
    EXPECT_TRUE(WaitUntil([&] {
        for (const Client& client : crowd)
            Say(&client, "x");
        status = RunProgram({KORVEX, "status"});
        return status.exitCode == 0;
    })) << status.error;
    crowd.emplace_back(&driven); // in the place of the one that had to go
    for (const Client& client : crowd)
        Say(&client, "\n{\"do\":\"listen\"}\n");
    EXPECT_TRUE(WaitUntil([&] {
        const RunResult monitor = RunProgram({KORVEX, "monitor", "--seconds", "0", "panel"});
        return monitor.error.find("it has no place for another client") != std::string::npos;
    })) << "why the port of a runtime is in use";
}

// A stalled or dead runtime's socket is in nobody's way.
TEST(Control, ReplacesTheSocketOfADeadProcess)
{
    DrivenPanel driven;
    kill(driven.drive->pid, SIGKILL);
    EXPECT_EQ(WaitForExit(driven.drive.get()), -1);
    EXPECT_TRUE(std::filesystem::exists(driven.socket));
    EXPECT_EQ(RunProgram({KORVEX, "status"}).exitCode, 4);
    Process again({KORVEX, "drive", "--pointer", "none", "panel"});
    EXPECT_NE(ReadLineWith(again.error, "controller 5200"), "");
    EXPECT_EQ(command::ControlSockets(), Texts{driven.socket});
    struct stat status{};
    EXPECT_EQ(stat(driven.socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0660U);
    EXPECT_EQ(EndBySignal(&again, SIGTERM), 0);
}

// Each as the journal gets it: with its priority.
TEST(Control, TellsTheJournalOfLossReturnAndNoise)
{
    DrivenPanel driven("export JOURNAL_STREAM=$(stat -L -c %d:%i /dev/stderr); ");
    const Client client(&driven);
    Greeted(&client);
    const auto send = [&](int count, const emulator::Bytes& before) {
        for (int i = 0; i < count; ++i) {
            const auto reports = [&client]() -> int {
                return Json::parse(Ask(&client, R"({"do":"status"})"))["panels"][0]["reports"];
            };
            const int counted = reports();
            SendBytes(driven.panel.get(), before);
            SendReport(driven.panel.get(), true, 512, 512);
            EXPECT_TRUE(WaitUntil([&] { return reports() == counted + 1; }));
        }
    };
    std::thread inputs([&driven] { ReadAll(driven.drive->output); });
    send(98, {});
    send(2, {0x70, 0, 2, 0, 2, 0});
    const std::string noise = "<4>panel (" + TerminalPath(driven.panel.get())
        + "): 2 of the last minute's 102 packets were spoiled; check cable";
    EXPECT_THAT(ReadLine(driven.drive->error), StartsWith(noise));
    send(98, {});
    const std::string good = "<5>panel (" + TerminalPath(driven.panel.get())
        + "): 2 of the last minute's 200 packets were spoiled: the line is";
    EXPECT_THAT(ReadLine(driven.drive->error), StartsWith(good));
    const std::string tty = TerminalPath(driven.panel.get());
    HangUp(driven.panel.get());
    EXPECT_EQ(ReadLine(driven.drive->error), "<4>panel (" + tty + "): the port has gone");
    driven.panel = emulator::StartEmulator({});
    PlaceLink("panel", driven.panel.get());
    EXPECT_EQ(ReadLine(driven.drive->error),
        "<5>panel (" + TerminalPath(driven.panel.get()) + "): the port is back");
    EXPECT_EQ(EndBySignal(driven.drive.get(), SIGTERM), 0);
    inputs.join();
}

// Of a calibration file that is there but not used.
TEST(Control, TellsTheJournalWhyACalibrationFileIsNotUsed)
{
    const std::vector<std::pair<std::string, std::string>> rows{
        {"chmod 444 Korvex.ini", "it cannot be read and written"},
        {"rm Korvex.ini; mkdir Korvex.ini", "it is no regular file"},
        {"rm Korvex.ini; mkfifo Korvex.ini", "it is no regular file"},
        {"head -c 2000000 /dev/zero > Korvex.ini", "it is larger than a megabyte"},
        {"mv Korvex.ini a; ln -s a Korvex.ini; chown -h 65534 Korvex.ini",
            "it is a link of another user's"}};
    for (const auto& [change, reason] : rows) {
        DrivenPanel driven(change + "; ");
        const Client client(&driven);
        Greeted(&client);
        EXPECT_EQ(Json::parse(Ask(&client, R"({"do":"status"})"))["panels"][0]["file"], Json());
        EXPECT_EQ(EndBySignal(driven.drive.get(), SIGTERM), 0);
        EXPECT_THAT(driven.said,
            AllOf(HasSubstr("' is not used: " + reason),
                HasSubstr("; the calibration in the controller's own")));
    }
}

TEST(Control, HasNoSocketInAFolderOfSomebodyElseAndTriesAgain)
{
    const TemporaryFolder folder;
    const emulator::EmulatorPointer panel = emulator::StartEmulator({});
    PlaceLink("panel", panel.get());
    setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
    ASSERT_EQ(chown(".", 65534, 65534), 0);
    Process drive({KORVEX, "drive", "--pointer", "none", "panel"});
    EXPECT_THAT(ReadLine(drive.error), EndsWith("/korvex': it is not this user's own"));
    EXPECT_FALSE(std::filesystem::exists("korvex"));
    ASSERT_EQ(chown(".", geteuid(), getegid()), 0);
    EXPECT_THAT(ReadLineWith(drive.error, "socket"), HasSubstr("there is a control socket now: '"));
    EXPECT_EQ(RunProgram({KORVEX, "status"}).exitCode, 0);
    EXPECT_EQ(EndBySignal(&drive, SIGTERM), 0);
}

// A packet of noise can be a valid report by chance.
TEST(Control, LiftsAFingerThatNothingButNoiseFollows)
{
    const DrivenPanel driven;
    SendReport(driven.panel.get(), true, 512, 512);
    EXPECT_THAT(ReadLine(driven.drive->output), HasSubstr(R"("flags":32771})"));
    const auto start = std::chrono::steady_clock::now();
    std::atomic<bool> done{false};
    std::thread noise([&] {
        while (!done && SendBytes(driven.panel.get(), emulator::Bytes(12, 0x70)))
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    });
    EXPECT_THAT(ReadLine(driven.drive->output), HasSubstr(R"("flags":32772})"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1900));
    done = true;
    noise.join();
}

// What was tried on one controller is not put back on another.
TEST(Control, ForgetsWhatWasTriedWhenAnotherControllerTakesThePlace)
{
    DrivenPanel driven;
    const Client client(&driven);
    Greeted(&client);
    EXPECT_EQ(Ask(&client, R"({"do":"listen"})"), R"({"re":"listen"})");
    EXPECT_EQ(
        Ask(&client, R"({"do":"try","calibration":{"box":[0,0,512,512]}})"), R"({"re":"try"})");
    driven.panel = emulator::StartEmulator({0x5460});
    PlaceLink("panel", driven.panel.get());
    EXPECT_THAT(ReadLineWith(driven.drive->error, "another"),
        EndsWith(TerminalPath(driven.panel.get()) + "): another controller answers there"));
    for (const char* event : {"gone", "ended", "began"})
        EXPECT_THAT(ReadLine(client.socket), HasSubstr(std::string("\"event\":\"") + event));
    const auto box = [&client] {
        return Json::parse(Ask(&client, R"({"do":"calibration"})"))["calibration"]["box"];
    };
    const Json loaded = box();
    EXPECT_EQ(loaded, Json::parse("[0,0,1024,1024]"));
    EXPECT_EQ(
        Ask(&client, R"({"do":"try","calibration":{"box":[0,0,256,256]}})"), R"({"re":"try"})");
    EXPECT_NE(box(), loaded);
    EXPECT_EQ(Ask(&client, R"({"do":"takeBack"})"), R"({"re":"takeBack"})");
    EXPECT_EQ(box(), loaded);
    EXPECT_EQ(EndBySignal(driven.drive.get(), SIGTERM), 0);
}

// Whoever can make a socket where clients look may answer anything; deep values overflow the stack
// when they are copied.
TEST(ParseAnswer, TakesNothingDeepAndNoControlCharacters)
{
    const auto nested = [](size_t depth) {
        return R"({"a":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
    };
    EXPECT_TRUE(command::ParseAnswer(nested(14)).is_object());
    EXPECT_TRUE(command::ParseAnswer(nested(400'000)).is_discarded());
    EXPECT_EQ(
        command::ParseAnswer(R"({"panel":"a\u001b]0;\u0007\u009b2J"})")["panel"], "a?]0;???2J");
}

// The programs of docs/control.md are what they say.
TEST(Control, IsSpokenByTheProgramsOfItsDescription)
{
    const std::string text = ReadTextFile(std::string(SOURCE_FOLDER) + "/docs/control.md");
    DrivenPanel driven;
    const auto program = [&text](const std::string& language) {
        const size_t start = text.find("```" + language + "\n") + language.size() + 4;
        return text.substr(start, text.find("```", start) - start);
    };
    WriteTextFile("client.py", program("python"));
    WriteTextFile("client.c", program("c"));
    ASSERT_EQ(RunProgram({"gcc", "-std=c11", "-D_GNU_SOURCE", "-Wall", "-Wextra", "-Werror",
                             "client.c", "-o", "client"})
                  .error,
        "");
    Process python({"python3", "client.py", driven.socket});
    Process c({"./client", driven.socket});
    EXPECT_EQ(ReadLine(python.output), "1");
    EXPECT_THAT(ReadLine(c.output), HasSubstr(R"("protocol":1)"));
    EXPECT_EQ(ReadLine(c.output), R"({"re":"listen"})");
    std::atomic<bool> heard = false;
    // the program says nothing when it begins to listen, so it is touched until it has heard
    std::thread finger([&] {
        while (!heard) {
            TouchAt(driven.panel.get(), 25, 50);
            ReadLine(driven.drive->output);
        }
    });
    EXPECT_THAT(ReadLine(python.output), HasSubstr(" 16383 32767 down"));
    heard = true;
    finger.join();
    EXPECT_THAT(ReadLine(c.output), HasSubstr(R"("mapped":[16383,32767],"touching":true)"));
}

} // namespace
} // namespace korvex
