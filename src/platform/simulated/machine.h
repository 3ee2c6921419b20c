#pragma once

#include "platform/simulated/call.h"
#include "platform/simulated/clock.h"
#include "platform/simulated/codePage.h"
#include "platform/simulated/files.h"
#include "platform/simulated/handles.h"
#include "platform/simulated/mailslots.h"
#include "platform/simulated/pipes.h"
#include "platform/simulated/processes.h"
#include "platform/simulated/registry.h"
#include "platform/simulated/scheduler.h"
#include "platform/simulated/services.h"
#include "platform/simulated/sessions.h"
#include "platform/simulated/shell.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulated {

/// What the machine tells GetVersionExA: 6.2 is what Windows 8 and all later ones tell a program whose
/// manifest names none of them.
struct WindowsVersion {
    DWORD major = 6;
    DWORD minor = 2;
    DWORD platformId = VER_PLATFORM_WIN32_NT;
};

/// Who did what happened: the world around the launcher, or a launcher process by a deed or by a trace line.
enum class Side : std::uint8_t { machine, launcher, trace };

/// The trace file's path as the file system shows it.
inline constexpr std::wstring_view traceFile = L"C:\\P1\\log.txt";

struct Happening {
    std::uint64_t at; ///< milliseconds since the machine started
    Side side;
    std::string text;
};

/// A whole Windows machine in memory. Tests and the simulator set it up and look at it through its members;
/// the launcher knows it by Windows' functions only. The thread that makes the machine plays it: it alone
/// calls the members, and launcher processes run only while it is inside `run`, `inside`, `play` or
/// `playUntil`.
class Machine {
public:
    /// What a launcher process runs, given the text behind its program name.
    using Program = void (*)(const std::wstring& commandLine);

    /// Without a program launcher processes run only by `inside`.
    explicit Machine(Program launcher = nullptr);
    /// Ends every launcher process that still runs.
    ~Machine();

    Scheduler scheduler;
    Clock clock{scheduler};
    CodePage codePage;
    WindowsVersion version;
    FileSystem files;
    Registry registry;
    Pipes pipes{*this};
    Handles handles;
    Sessions sessions{*this};
    ServiceManager services{*this};
    Mailslots mailslots{*this};
    Shell shell{*this};
    Processes processes{*this};

    /// Path of the launcher's executable for the launcher processes that start from now on.
    std::wstring launcherPath = L"C:\\Kovra\\bin\\kovraLauncher.exe";

    /// Starts a launcher process with the text behind its program name, in the session of the service manager
    /// (0) or of a user. It runs when the machine is played. Gives its process id.
    DWORD start(const std::wstring& commandLine, DWORD session = 1, Account account = Account::administrator);
    /// Starts a launcher process and plays until it has ended; no when it still runs after ten minutes.
    bool run(const std::wstring& commandLine, Account account = Account::administrator);
    /// Runs the body as the main thread of a fresh launcher process and plays until it is over.
    void inside(const std::function<void()>& body, Account account = Account::administrator);
    /// Plays for a time.
    void play(std::uint64_t milliseconds);
    /// Plays until the condition holds (yes) or the time is over (no). The condition is asked whenever all
    /// launcher threads are blocked.
    bool playUntil(const std::function<bool()>& condition, std::uint64_t limitMs);

    /// How often launcher processes have called the function of that name.
    [[nodiscard]] std::uint64_t calls(std::string_view function) const;

    [[nodiscard]] std::uint64_t calls(std::size_t function) const { return calls_[function]; }

    /// The functions that launcher processes have called, with how often.
    [[nodiscard]] std::map<std::string, std::uint64_t> callsByName() const;
    /// Makes the next `times` calls of the function, behind `skip` good ones, fail with the error.
    void fail(std::string_view function, DWORD error, std::uint64_t times = UINT64_MAX,
              std::uint64_t skip = 0);

    /// When a call was last made to fail, of any function or of that one; empty: never.
    [[nodiscard]] std::optional<std::uint64_t> lastFailedAt() const { return lastFailedAt_; }

    [[nodiscard]] std::optional<std::uint64_t> lastFailedAt(std::string_view function) const;

    /// Lets the function work again.
    void heal(std::string_view function);

    /// What launcher processes have misused or left open, a line each; empty when all is in order. What one
    /// that still runs holds is not told.
    [[nodiscard]] std::string leftOpen() const;
    /// Ends a process that ends by itself, which must have let go of all.
    void endInOrder(const Process& process);

    /// Everything that is told by `tell`, in order, where `keepHappenings` is yes.
    std::vector<Happening> happenings;
    bool keepHappenings = true;
    /// Called with each thing that happens, at the moment it does.
    std::function<void(const Happening&)> observer;
    void tell(Side side, std::string text);

    /// The messages that have gone into the trace file, without their dates.
    std::vector<std::string> traceLines;
    void traced(std::string_view line);

    /// Calls that a careful program does not make: an unknown handle closed, a record of the wrong size,
    /// an argument that Windows takes and nobody means ...
    std::vector<std::string> misuses;
    /// Called at each machine's end with what `leftOpen` tells, if it tells anything.
    static inline void (*atEnd)(const std::string& leftOpen) = nullptr;

    const Program launcher;

private:
    friend bool countCall(std::size_t function);

    struct Failure {
        DWORD error = 0;
        std::uint64_t skip = 0;
        std::uint64_t times = 0;
        std::optional<std::uint64_t> lastAt{};
    };

    std::size_t heldAtExit_ = 0;       // handles and memory blocks of processes that have ended by themselves
    std::vector<std::uint64_t> calls_; // by function index
    std::vector<Failure> failures_;    // by function index
    std::optional<std::uint64_t> lastFailedAt_;
    bool callMayFail(std::size_t function);
    void noteImpersonation(std::size_t function);
};

} // namespace kovra::simulated
