// A runtime that is asked while it runs, by its own commands and by programs of others, well and
// badly made.
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <list>
#include <nlohmann/json.hpp>
#include <random>

#include "control/control_address.h"
#include "control/json_line.h"
#include "emulator/gestures.h"
#include "testing/command.h"

namespace korvex {
namespace {

using Json = nlohmann::json;

// A panel that `korvex drive` drives, and its control socket.
struct DrivenPanel : PanelFolder {
    std::unique_ptr<Process> drive;
    std::string said; // by then
    std::string socket;

    // Driven by a shell's words, once it has said these.
    explicit DrivenPanel(const std::string& words = "")
    {
        drive = std::make_unique<Process>(Texts{
            "sh", "-c", words + "exec " + KORVEX + " drive --pointer log --trace trace panel"});
        std::string line;
        do {
            said += line = ReadLine(drive->error);
        } while (!line.empty() && line.find("controller 5200") == std::string::npos);
        EXPECT_NE(line, "");
        socket = command::ControlSockets().at(0);
    }
};

// A client with lines of its own, root's or another user's.
struct Client {
    int socket = -1;
    std::string greeting;

    explicit Client(const std::filesystem::path& path, uid_t user = 0)
    {
        sockaddr_un address{};
        EXPECT_TRUE(command::ControlAddressOf(path, &address));
        for (const auto& shown : {path, path.parent_path(), path.parent_path().parent_path()})
            EXPECT_TRUE(user == 0 || chmod(shown.c_str(), 0777) == 0);
        EXPECT_TRUE(user == 0 || seteuid(user) == 0);
        EXPECT_TRUE(WaitUntil([&] { return (socket = command::ConnectTo(&address)) >= 0; }));
        EXPECT_TRUE(user == 0 || seteuid(0) == 0);
        greeting = ReadLine(socket);
    }
    ~Client() { close(socket); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
};

void Say(const Client* client, const std::string& text)
{
    send(client->socket, text.data(), text.size(), MSG_NOSIGNAL);
}

std::string Ask(const Client* client, const std::string& request)
{
    Say(client, request + "\n");
    return ReadLine(client->socket);
}

std::string Try(int end)
{
    return Json{{"do", "try"}, {"calibration", {{"box", {0, 0, end, end}}}}}.dump();
}

const std::string LISTEN = R"({"do":"listen"})";
const std::string TAKE_BACK = R"({"do":"takeBack"})";
const std::string TRIED = R"({"re":"try"})";
const std::string TAKEN_BACK = R"({"re":"takeBack"})";

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
    const std::string corner = R"({"dx":65535,"dy":65535,"flags":32771})";
    EXPECT_EQ(touch(), plain);
    {
        const Client client(driven.socket);
        EXPECT_THAT(client.greeting, EndsWith(R"("protocol":1})"));
        EXPECT_EQ(Json::parse(Ask(
                      &client, R"({"do":"calibration","panel":"panel","id":7})"))["calibration"],
            Json::parse(R"({"orientation":1,"box":[0,0,1024,1024],"points":[]})"));
        EXPECT_EQ(Ask(&client, Try(256)), TRIED);
        EXPECT_EQ(Ask(&client, Try(512)), TRIED);
        EXPECT_EQ(touch(), corner);
        EXPECT_EQ(Ask(&client, TAKE_BACK), TAKEN_BACK);
        EXPECT_EQ(touch(), plain) << "what held before the first of them";
        EXPECT_EQ(Ask(&client, Try(512)), TRIED);
        const Client second(driven.socket);
        EXPECT_THAT(Ask(&second, Try(512)), HasSubstr("another client is trying"));
        for (const auto& [request, fault] : Pairs{{"tea", "not a JSON object"},
                 {R"({"id":)" + std::string(32000, '[') + std::string(32000, ']') + "}",
                     "'id' is neither"},
                 {R"({"do":"calibration","panel":["x"]})", "'panel' is no text"},
                 {"{}", "'do' is missing"}, {R"({"do":"fly"})", "'fly' is not a request"},
                 {R"({"do":"listen","panel":"x"})", "no panel 'x'"},
                 {R"({"do":"store","calibration":{"box":[1,2,1,4]}})", "another client"}})
            EXPECT_THAT(Ask(&second, request), HasSubstr(fault)) << request;
        for (const auto& [calibration, fault] : Pairs{{"7", "'calibration' is missing"},
                 {R"({"box":[1,2,1,4]})", "'box'"}, {R"({"box":[0,0,1024,9]})", "than a fifth"},
                 {R"({"points":[[1,1],[1,1],[1,1],[1,1]]})", "measured at the same place"},
                 {R"({"points":[[1,1],[1024,1],[900,900],[1,900]]})", "point 2 is not within"},
                 {R"({"points":[[1,2]]})", "'points' are not 0, 4"},
                 {R"({"points":[[1,2],[3],[1,2],[1,2]]})", "point 2"},
                 {R"({"orientation":9})", "'orientation'"}, {R"({"tea":1})", "'tea'"},
                 {R"({"box":[18446744073709551615,0,1024,1024]})", "'box'"}})
            EXPECT_THAT(Ask(&client, R"({"do":"try","calibration":)" + calibration + "}"),
                HasSubstr(fault));
    }
    EXPECT_TRUE(WaitUntil([&] { return touch() == plain; }))
        << "the end of a connection takes back what it tried";
    const Client member(driven.socket, 65534);
    const Client root(driven.socket);
    EXPECT_EQ(Ask(&member, Try(512)), TRIED);
    EXPECT_EQ(Ask(&root, TAKE_BACK), TAKEN_BACK);
    EXPECT_EQ(touch(), plain) << "root takes back what another user tries";
    EXPECT_EQ(Ask(&root, Try(512)), TRIED);
    EXPECT_EQ(Ask(&member, TAKE_BACK), TAKEN_BACK);
    EXPECT_EQ(touch(), corner) << "others do not";
    EXPECT_EQ(Ask(&root, TAKE_BACK), TAKEN_BACK);

    const Client client(driven.socket);
    EXPECT_THAT(Ask(&client, R"({"do":"store"})"), HasSubstr("none is being tried"));
    ASSERT_EQ(rename("Korvex.ini", "kept"), 0);
    std::filesystem::create_directory("Korvex.ini");
    EXPECT_THAT(Ask(&client, R"({"do":"store","calibration":{"box":[0,0,512,512]}})"),
        AllOf(HasSubstr(R"("error":"'/)"), HasSubstr(R"("stored":false)")));
    EXPECT_EQ(touch(), plain) << "what is not on the disk is not used either";
    std::filesystem::remove("Korvex.ini");
    ASSERT_EQ(rename("kept", "Korvex.ini"), 0);
    EXPECT_EQ(Ask(&client, Try(512)), TRIED);
    EXPECT_THAT(ReadTextFile("Korvex.ini"), HasSubstr("STD_MAX_X=1024"));
    EXPECT_THAT(Ask(&client, R"({"do":"store"})"), HasSubstr(R"("stored":true)"));
    EXPECT_THAT(ReadTextFile("Korvex.ini"), HasSubstr("STD_MAX_X=512"));
    EXPECT_THAT(ReadLineWith(driven.drive->error, "calibration"),
        HasSubstr("has changed, and is stored in '"));
    EXPECT_EQ(Ask(&client, TAKE_BACK), TAKEN_BACK);
    EXPECT_EQ(touch(), corner) << "what is stored stays";
    EXPECT_EQ(Ask(&root, Try(256)), TRIED) << "nobody is trying it any more";
    EXPECT_EQ(EndBySignal(driven.drive.get(), SIGTERM), 0);
    EXPECT_FALSE(std::filesystem::exists(driven.socket));
}

// As files, while it drives, and what those who look after many machines see of that.
TEST(KorvexCalibration, MovesInAndOutOfTheRuntimeThatDrivesThePanel)
{
    DrivenPanel driven;
    const Client client(driven.socket);
    Ask(&client, LISTEN);
    const auto run = [](Texts words) {
        words.insert(words.begin(), "calibration");
        return RunKorvex(words);
    };
    EXPECT_EQ(run({"export", "panel", "old.json"}).exitCode, 0);
    EXPECT_THAT(Ask(&client, R"({"do":"store","calibration":{"box":[0,0,512,512]}})"),
        HasSubstr(R"("stored":true)"));
    const std::string stored = ReadLine(client.socket);
    EXPECT_THAT(stored, StartsWith(R"({"event":"calibrated","panel":)"));
    EXPECT_THAT(stored, ContainsRegex(R"("time":"20[-0-9]+T[0-9:]+\.[0-9]+Z")"));
    EXPECT_THAT(stored, HasSubstr(R"("change":"stored")"));
    EXPECT_THAT(
        stored, HasSubstr("\"process\":" + std::to_string(getpid()) + ",\"user\":\"root\""));
    RunResult result = run({"verify", "panel", "old.json"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.error, HasSubstr("differs: box"));
    EXPECT_THAT(run({"import", "panel", "old.json"}).output, HasSubstr("it applies now"));
    EXPECT_EQ(run({"verify", "panel", "old.json"}).exitCode, 0);
    std::string edited = ReadTextFile("old.json");
    edited.replace(edited.find("1024"), 4, "1000");
    WriteTextFile("edited.json", edited);
    EXPECT_THAT(run({"import", "panel", "edited.json"}).error, HasSubstr("check sum is wrong"));
    EXPECT_EQ(run({"undo", "panel"}).exitCode, 0);
    EXPECT_THAT(run({"show", "panel"}).output, HasSubstr("box, 0 to 512 by 0 to 512"));
    EXPECT_EQ(Json::parse(run({"history", "panel", "--json"}).output).size(), 1U);

    TouchAt(driven.panel.get(), 25, 75);
    ReadLine(driven.drive->output);
    HangUp(driven.panel.get());
    EXPECT_NE(ReadLineWith(driven.drive->error, "has gone"), "");
    const std::string metrics = RunKorvex({"status", "--metrics"}).output;
    for (const char* line :
        {"korvex_panel_up[{].*[}] 0\n", "TYPE korvex_panel_reports_total counter\n",
            "korvex_panel_reports_total[{].*[}] 1\n", "korvex_panel_losses_total[{].*[}] 1\n"})
        EXPECT_THAT(metrics, ContainsRegex(line));
}

TEST(Control, TellsAListenerOfItsPanelAlone)
{
    const Installation installation;
    Process command(installation.Unseen({"enum"}));
    EXPECT_NE(ReadLineWith(command.error, "Enable Touch Tests"), "");
    const Client client(command::ControlSockets().at(0));
    EXPECT_THAT(Ask(&client, TAKE_BACK), HasSubstr("there is not just one"));
    const std::string tty = TerminalPath(installation.second.get());
    EXPECT_EQ(Ask(&client, Json{{"do", "listen"}, {"panel", tty}}.dump()), R"({"re":"listen"})");
    TouchAt(installation.first.get(), 25, 25);
    EXPECT_NE(ReadLine(command.output), "");
    TouchAt(installation.second.get(), 75, 75);
    EXPECT_THAT(ReadLine(client.socket), HasSubstr(R"("mapped":[49151,49151])"));
}

// The commands about a panel that a runtime drives, while touches go on.
TEST(Control, ServesStatusMonitorAndCheckOfAPortThatIsHeld)
{
    DrivenPanel driven;
    const std::string tty = driven.Tty();
    TouchAt(driven.panel.get(), 25, 75);
    ReadLine(driven.drive->output);
    const Json status = Json::parse(RunKorvex({"status", "--json"}).output);
    ASSERT_EQ(status.size(), 1U);
    for (const auto& [key, value] :
        std::map<std::string, Json>{{"tty", tty}, {"gone", false}, {"reports", 1},
            {"touching", true}, {"raw", {256, 768}}, {"process", driven.drive->pid}})
        EXPECT_EQ(status[0][key], value) << key;
    EXPECT_THAT(status[0]["calibration"]["file"].get<std::string>(), EndsWith("Korvex.ini"));
    EXPECT_THAT(RunProgram({"env", "TZ=AAA-9", KORVEX, "status"}).output,
        ContainsRegex(tty + "  there  5200 +[0-9]+ s "));

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

    EXPECT_THAT(RunKorvex({"ports", "--state", "state", "--port", "COM1=" + tty}).output,
        HasSubstr("5200   process " + std::to_string(driven.drive->pid)));

    EXPECT_EQ(EndBySignal(driven.drive.get(), SIGKILL), -1);
    EXPECT_NE(ReadLineWith(monitor.output, R"("gone":true)"), "");
    EXPECT_EQ(RunKorvex({"status"}).exitCode, 4);
    EXPECT_TRUE(std::filesystem::exists(driven.socket)) << "which is in nobody's way";
    Process again({KORVEX, "drive", "--wait", "--pointer", "log", "panel"});
    EXPECT_THAT(ReadLineWith(monitor.output, R"("gone":false)"), HasSubstr(R"("rate":0)"))
        << "the monitor has left the port to the runtime";
    EXPECT_EQ(command::ControlSockets(), Texts{driven.socket});
    EXPECT_EQ(RunProgram({"stat", "-c", "%a", driven.socket}).output, "660\n");
    EXPECT_EQ(EndBySignal(&monitor, SIGTERM), 0);
}

TEST(Control, LosesNoTouchWhateverItsClientsDo)
{
    DrivenPanel driven;
    const Client listener(driven.socket);
    EXPECT_EQ(Ask(&listener, LISTEN), R"({"re":"listen"})");
    // A full line; the inputs are read so that nothing waits for this test.
    std::thread inputs([&] { ReadAll(driven.drive->output); });
    std::thread finger([&] {
        std::string error;
        RunGesture(driven.panel.get(), "circle 320 5", &error);
    });
    std::thread others([&] {
        std::string questions, stores;
        for (int i = 0; i < 60; ++i) {
            questions += "{\"do\":\"status\"}\n";
            stores += R"({"do":"store","calibration":{"box":[0,0,1024,)" + std::to_string(1000 + i)
                + "]}}\n";
        }
        // one that asks and does not read, and one whose request has no end
        for (const std::string& flood : {questions, std::string(100'000, 'x')}) {
            const Client client(driven.socket);
            EXPECT_TRUE(WaitUntil([&] {
                return send(client.socket, flood.data(), flood.size(), MSG_NOSIGNAL | MSG_DONTWAIT)
                    < 0
                    && errno != EAGAIN;
            })) << "it is dropped";
        }
        // asks for more than can be done at once, each written to the disk
        const Client busy(driven.socket);
        Say(&busy, stores);
        ReadLine(busy.socket);
    });
    for (int next = 1; next <= 1600 && !HasFailure(); ++next)
        EXPECT_THAT(ReadLineWith(listener.socket, "\"touch\""),
            HasSubstr("\"sequence\":" + std::to_string(next) + ","));
    finger.join();
    others.join();
    EXPECT_EQ(RunKorvex({"status"}).exitCode, 0) << "it still answers";
    EXPECT_EQ(EndBySignal(driven.drive.get(), SIGTERM), 0);
    inputs.join();
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
        const std::string status = ReadTextFile(thread.path() / "status");
        const std::string name = "\nvoluntary_ctxt_switches:";
        sleeps += std::stoull(status.substr(status.find(name) + name.size()));
    }
    return sleeps;
}

TEST(Control, WakesAnIdleRuntimeNotOnceWithinASecond)
{
    DrivenPanel driven("ulimit -n 24; ");
    {
        const Client client(driven.socket);
        Ask(&client, LISTEN);
        // Events come until the runtime has read that no client listens any more.
        std::string silence = R"({"do":"silence")";
        for (int i = 0; i < 6000; ++i)
            silence += ",\"k" + std::to_string(i) + "\":0";
        Say(&client, silence + "}\n");
        for (int i = 0; i < 100; ++i)
            SendReport(driven.panel.get(), true, 512, 512);
        while (!ReadLine(client.socket).starts_with(R"({"re":"silence")")) { }
        Lift(driven.panel.get());
    }
    std::list<Client> silent; // more than it has descriptors for
    while (silent.size() < 15)
        silent.emplace_back(driven.socket);
    EXPECT_NE(silent.front().greeting, "");
    EXPECT_EQ(silent.back().greeting, "");
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
    EXPECT_EQ(Ask(&crowd.emplace_back(driven.socket), Try(512)), TRIED);
    while (crowd.size() < 16)
        crowd.emplace_back(driven.socket);
    RunResult status{};
    EXPECT_TRUE(WaitUntil([&] {
        for (const Client& client : crowd)
            Say(&client, "x");
        status = RunKorvex({"status"});
        return status.exitCode == 0;
    })) << status.error;
    EXPECT_THAT(Ask(&crowd.front(), ""), HasSubstr("not a JSON"))
        << "who tries one keeps its place";
    crowd.emplace_back(driven.socket); // instead of the one that was disconnected
    for (const Client& client : crowd)
        Say(&client, "\n{\"do\":\"listen\"}\n");
    EXPECT_TRUE(WaitUntil([&] {
        const RunResult monitor = RunKorvex({"monitor", "--seconds", "0", "panel"});
        return monitor.error.find("it has no place for another client") != std::string::npos;
    })) << "why the port of a runtime is in use";
}

// Each as the journal gets it: with its priority.
TEST(Control, TellsTheJournalOfNoiseLossReturnAndExchange)
{
    DrivenPanel driven("export JOURNAL_STREAM=$(stat -L -c %d:%i /dev/stderr); ");
    const std::string tty = driven.Tty();
    const Client client(driven.socket);
    Ask(&client, LISTEN);
    const auto send = [&](int count, const emulator::Bytes& before) {
        for (int i = 0; i < count; ++i) {
            SendBytes(driven.panel.get(), before);
            SendReport(driven.panel.get(), true, 512, 512);
            EXPECT_NE(ReadLine(client.socket), "");
        }
    };
    std::thread inputs([&driven] { ReadAll(driven.drive->output); });
    send(98, {});
    send(2, {0x70, 0, 2, 0, 2, 0});
    EXPECT_THAT(ReadLine(driven.drive->error),
        StartsWith("<4>panel (" + tty + "): 2 of the last minute's 102 packets were rejected; "));
    send(98, {});
    EXPECT_THAT(ReadLine(driven.drive->error),
        AllOf(StartsWith("<5>"), HasSubstr(" 200 packets were rejected: the line is good again")));
    EXPECT_EQ(Ask(&client, Try(512)), TRIED);
    HangUp(driven.panel.get());
    EXPECT_EQ(ReadLine(driven.drive->error), "<4>panel (" + tty + "): the port has gone");
    const std::string name = std::filesystem::path(tty).filename();
    EXPECT_THAT(
        RunKorvex({"monitor", "--seconds", "0", name}).error, HasSubstr("driven by process"));
    EXPECT_EQ(RunKorvex({"status"}).exitCode, 8);
    driven.Put(StartEmulator({}));
    EXPECT_EQ(ReadLine(driven.drive->error), "<5>panel (" + driven.Tty() + "): the port is back");
    driven.Put(StartEmulator({0x5460}));
    EXPECT_EQ(ReadLineWith(driven.drive->error, "another"),
        "<4>panel (" + driven.Tty() + "): another controller answers there");
    for (const std::string event : {"touch", "gone", "back", "gone", "ended", "began"})
        EXPECT_THAT(ReadLine(client.socket), HasSubstr("\"event\":\"" + event));
    // A result tried on the previous controller must not be restored on this one.
    const auto box = [&client] {
        return Json::parse(Ask(&client, R"({"do":"calibration"})"))["calibration"]["box"].dump();
    };
    EXPECT_EQ(box(), "[0,0,1024,1024]");
    EXPECT_EQ(Ask(&client, Try(256)), TRIED);
    EXPECT_EQ(box(), "[0,0,256,256]");
    EXPECT_EQ(Ask(&client, TAKE_BACK), TAKEN_BACK);
    EXPECT_EQ(box(), "[0,0,1024,1024]");
    EXPECT_EQ(EndBySignal(driven.drive.get(), SIGTERM), 0);
    inputs.join();
}

// Of a calibration file that is there but not used.
TEST(Control, TellsTheJournalWhyACalibrationFileIsNotUsed)
{
    for (const auto& [change, reason] : Pairs{{"chmod 444", "it cannot be read and written"},
             {"rm Korvex.ini; mkfifo", "it is no regular file"},
             {"truncate -s 2M", "it is larger than a megabyte"},
             {"mv Korvex.ini a; ln -s a Korvex.ini; chown -h 65534", "it is a link of another"}}) {
        const DrivenPanel driven(change + " Korvex.ini; ");
        EXPECT_THAT(RunKorvex({"status"}).output, HasSubstr("controller's memory"));
        EXPECT_THAT(driven.said,
            AllOf(HasSubstr("' is not used: " + reason),
                HasSubstr("; the calibration in the controller's own")));
    }
}

// A second try in which nothing has changed says nothing.
TEST(Control, TriesAgainForAPortAndForASocketInAFolderOfSomebodyElse)
{
    const TemporaryFolder folder;
    setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
    ASSERT_EQ(chown(".", 65534, 65534), 0);
    Process drive({KORVEX, "drive", "--wait", "--pointer", "none", "panel"});
    EXPECT_THAT(ReadLine(drive.error), EndsWith("/korvex': it is not this user's own"));
    EXPECT_FALSE(std::filesystem::exists("korvex"));
    ASSERT_EQ(chown(".", geteuid(), getegid()), 0);
    EXPECT_THAT(ReadLine(drive.error), HasSubstr("there is no such port; trying again"));
    WaitUntil([] { return std::filesystem::exists("korvex"); }); // 10 s, and as many in ReadLine
    EXPECT_THAT(ReadLine(drive.error), HasSubstr("there is a control socket now: '"));
    EXPECT_EQ(RunKorvex({"status"}).exitCode, 8) << "the panel is awaited";
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
            std::this_thread::sleep_for(milliseconds(10));
    });
    EXPECT_THAT(ReadLine(driven.drive->output), HasSubstr(R"("flags":32772})"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(1900));
    done = true;
    noise.join();
}

// A foreign program's socket where clients look may answer anything; deep values overflow the stack
// when they are copied.
TEST(ParseAnswer, TakesNothingDeepAndNoControlCharacters)
{
    const std::string deep = std::string(400'000, '[') + std::string(400'000, ']');
    EXPECT_TRUE(command::ParseAnswer(R"({"a":)" + deep + "}").is_discarded());
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
    const std::string flags = "-std=c11 -D_GNU_SOURCE -Wall -Wextra -Werror";
    ASSERT_EQ(RunProgram({"sh", "-c", "gcc " + flags + " client.c -o client"}).error, "");
    Process python({"python3", "client.py", driven.socket});
    Process c({"./client", driven.socket});
    EXPECT_EQ(ReadLine(python.output), "1");
    EXPECT_THAT(ReadLine(c.output), HasSubstr(R"("protocol":1)"));
    EXPECT_EQ(ReadLine(c.output), R"({"re":"listen"})");
    // the program says nothing when it begins to listen, so it is touched until it has heard
    pollfd heard{python.output, POLLIN, 0};
    EXPECT_TRUE(WaitUntil([&] {
        TouchAt(driven.panel.get(), 25, 50);
        ReadLine(driven.drive->output);
        return poll(&heard, 1, 0) == 1;
    }));
    EXPECT_THAT(ReadLine(python.output), HasSubstr(" 16383 32767 down"));
    EXPECT_THAT(ReadLine(c.output), HasSubstr(R"("mapped":[16383,32767],"touching":true)"));
}

} // namespace
} // namespace korvex
