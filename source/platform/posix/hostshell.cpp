// The Windows directory, wcscat_s and ShellExecuteW: showing an entry in the desktop's file
// manager.
#include "platform/posix/hostapi.h"

#include <zelk/posixhost.h>

#include <cstring>
#include <mutex>

extern char** environ;

namespace vorlan {
namespace zelk {
namespace platform {

namespace host {
namespace {

// One program to start: its resolved path and its whole argument list (argv[0] included).
struct Step {
    std::string program;
    std::vector<std::string> arguments;
};

// The command a program put in place of the default file manager request; empty for none.
struct LauncherState {
    std::mutex mutex;
    std::vector<std::string> command;
};

LauncherState& Launcher() {
    static LauncherState* state = new LauncherState(); // never destroyed, as the drive table
    return *state;
}

// The Windows directory that the stand-in reports. There is none on this host: the text is the
// one Win32 programs expect, and only ShellExecuteW below gives a meaning to explorer.exe in it.
const char16_t kWindowsDirectory[] = u"C:\\Windows";

HINSTANCE ShellResult(DWORD value) {
    return reinterpret_cast<HINSTANCE>(static_cast<std::uintptr_t>(value));
}

// What ShellExecuteW gives for a failure with this Win32 error: the error itself where it is a
// small number, as on Windows, else "path not found".
HINSTANCE ShellFailure(DWORD error) {
    SetError(error);
    return ShellResult(error != 0 && error <= 32 ? error : ERROR_PATH_NOT_FOUND);
}

// Whether file names the file browser: its last name is explorer.exe, in any letter case.
bool IsFileBrowser(const Text& file) {
    const std::size_t slash = file.find_last_of(u"\\/");
    const Text name = slash == Text::npos ? file : file.substr(slash + 1);
    return EqualNoCase(name, u"explorer.exe");
}

// The entry named by the browser's parameters /select,"path" (the quotation marks optional);
// false for any other form.
bool SelectedEntry(const Text& parameters, Text& entry) {
    const Text prefix = u"/select,";
    if (parameters.size() <= prefix.size() ||
        !EqualNoCase(parameters.substr(0, prefix.size()), prefix)) {
        return false;
    }
    entry = parameters.substr(prefix.size());
    if (entry.size() >= 2 && entry.front() == u'"' && entry.back() == u'"') {
        entry = entry.substr(1, entry.size() - 2);
    }
    return !entry.empty();
}

// A file:// URI of an absolute host path. Every byte but the unreserved ones and / is
// percent-encoded, so the URI holds no blank, quotation mark, comma or non-ASCII byte.
std::string FileUri(const std::string& hostPath) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string uri = "file://";
    for (const char c : hostPath) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
            (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '_' ||
            byte == '~' || byte == '/') {
            uri += c;
        } else {
            uri += '%';
            uri += kHex[byte >> 4];
            uri += kHex[byte & 0xF];
        }
    }
    return uri;
}

std::string ParentOf(const std::string& hostPath) {
    const std::size_t slash = hostPath.find_last_of('/');
    return slash == std::string::npos || slash == 0 ? std::string("/") : hostPath.substr(0, slash);
}

// The executable that a program name stands for: itself when it holds a slash, else the first
// match on PATH (or the usual system directories without PATH). Empty when there is none.
std::string FindProgram(const std::string& name) {
    if (name.empty()) {
        return std::string();
    }
    if (name.find('/') != std::string::npos) {
        return ::access(name.c_str(), X_OK) == 0 ? name : std::string();
    }
    const char* variable = std::getenv("PATH");
    const std::string path = variable != nullptr ? variable : "/usr/local/bin:/usr/bin:/bin";
    std::size_t begin = 0;
    while (begin <= path.size()) {
        std::size_t end = path.find(':', begin);
        if (end == std::string::npos) {
            end = path.size();
        }
        const std::string directory = end > begin ? path.substr(begin, end - begin) : ".";
        const std::string candidate = directory + "/" + name;
        struct stat info {};
        if (::stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
            ::access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        begin = end + 1;
    }
    return std::string();
}

// The default request: the desktop's file manager over the session bus, to show the entry
// selected; where that fails or no bus tool is there, the parent directory opened by xdg-open.
std::vector<Step> DefaultSteps(const std::string& hostPath) {
    const std::string uri = FileUri(hostPath);
    std::vector<Step> steps;
    std::string program = FindProgram("dbus-send");
    if (!program.empty()) {
        steps.push_back({program,
                         {"dbus-send", "--session", "--print-reply", "--reply-timeout=10000",
                          "--dest=org.freedesktop.FileManager1", "--type=method_call",
                          "/org/freedesktop/FileManager1", "org.freedesktop.FileManager1.ShowItems",
                          "array:string:" + uri, "string:"}});
    } else if (!(program = FindProgram("gdbus")).empty()) {
        // The URI is percent-encoded, so it can stand inside the quotes of the array's text.
        steps.push_back({program,
                         {"gdbus", "call", "--session", "--dest", "org.freedesktop.FileManager1",
                          "--object-path", "/org/freedesktop/FileManager1", "--method",
                          "org.freedesktop.FileManager1.ShowItems", "['" + uri + "']", ""}});
    }
    program = FindProgram("xdg-open");
    if (!program.empty()) {
        steps.push_back({program, {"xdg-open", FileUri(ParentOf(hostPath))}});
    }
    return steps;
}

// A program's own command: its words, then the entry's URI and host path.
std::vector<Step> CommandSteps(const std::vector<std::string>& command,
                               const std::string& hostPath) {
    Step step{FindProgram(command.front()), command};
    if (step.program.empty()) {
        return {};
    }
    step.arguments.push_back(FileUri(hostPath));
    step.arguments.push_back(hostPath);
    return {step};
}

// Argument lists in the form execve takes, made before any fork.
struct Argv {
    std::vector<char*> pointers;
    explicit Argv(Step& step) {
        for (std::string& argument : step.arguments) {
            pointers.push_back(&argument[0]);
        }
        pointers.push_back(nullptr);
    }
};

void WriteError(int fd, int error) {
    if (fd >= 0) {
        while (::write(fd, &error, sizeof error) < 0 && errno == EINTR) {
        }
    }
}

// Reads the errno a child sends before it ends, or 0 when the pipe closes without one: its exec
// succeeded and closed the pipe's other end.
int ReadError(int fd) {
    int error = 0;
    ssize_t count;
    while ((count = ::read(fd, &error, sizeof error)) < 0 && errno == EINTR) {
    }
    return count == static_cast<ssize_t>(sizeof error) ? error : 0;
}

void CloseIfOpen(int fd) {
    if (fd >= 0) {
        ::close(fd);
    }
}

void WaitFor(pid_t child, int* status) {
    while (::waitpid(child, status, 0) < 0 && errno == EINTR) {
    }
}

// Runs in the detached process, after the fork: only async-signal-safe calls. Each step but the
// last runs as a child; when it starts, report is closed (the caller's start succeeded), and a
// clean exit ends the sequence, anything else goes on to the next step. The last step replaces
// this process. A failure to start the last step is sent through report while it is open.
[[noreturn]] void RunSteps(std::vector<Argv>& argvs, const std::vector<Step>& steps,
                           const char* directory, int nullDevice, int report) {
    // Like a program started from the desktop, the steps write nowhere near the caller's output.
    if (nullDevice >= 0) {
        ::dup2(nullDevice, 0);
        ::dup2(nullDevice, 1);
        ::dup2(nullDevice, 2);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    struct sigaction defaultAction {};
    defaultAction.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &defaultAction, nullptr);
    if (directory != nullptr) {
        (void)::chdir(directory);
    }
    const std::size_t last = steps.size() - 1;
    for (std::size_t i = 0; i < last; ++i) {
        int started[2];
        if (::pipe2(started, O_CLOEXEC) != 0) {
            continue;
        }
        const pid_t child = ::fork();
        if (child == 0) {
            ::execve(steps[i].program.c_str(), argvs[i].pointers.data(), environ);
            WriteError(started[1], errno);
            ::_exit(127);
        }
        ::close(started[1]);
        if (child < 0) {
            ::close(started[0]);
            continue;
        }
        const bool ran = ReadError(started[0]) == 0;
        ::close(started[0]);
        if (ran && report >= 0) {
            ::close(report);
            report = -1;
        }
        int status = 0;
        WaitFor(child, &status);
        if (ran && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
            ::_exit(0);
        }
    }
    ::execve(steps[last].program.c_str(), argvs[last].pointers.data(), environ);
    WriteError(report, errno);
    ::_exit(127);
}

// Starts the steps in a process of their own that nobody waits for: a middle process forks it
// and ends at once, is reaped here, and leaves it to the system, so no zombie stays with the
// caller. Returns once the first step has started or none could: 0, or the errno of the last
// failure.
int StartDetached(std::vector<Step>& steps, const std::string& directory) {
    std::vector<Argv> argvs;
    argvs.reserve(steps.size());
    for (Step& step : steps) {
        argvs.emplace_back(step);
    }
    const char* workingDirectory = directory.empty() ? nullptr : directory.c_str();
    const int nullDevice = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    int report[2];
    if (::pipe2(report, O_CLOEXEC) != 0) {
        const int error = errno;
        CloseIfOpen(nullDevice);
        return error;
    }
    const pid_t middle = ::fork();
    if (middle < 0) {
        const int error = errno;
        ::close(report[0]);
        ::close(report[1]);
        CloseIfOpen(nullDevice);
        return error;
    }
    if (middle == 0) {
        ::close(report[0]);
        ::setsid();
        const pid_t detached = ::fork();
        if (detached == 0) {
            RunSteps(argvs, steps, workingDirectory, nullDevice, report[1]);
        }
        if (detached < 0) {
            WriteError(report[1], errno);
        }
        ::_exit(0);
    }
    ::close(report[1]);
    CloseIfOpen(nullDevice);
    int status = 0;
    WaitFor(middle, &status);
    const int error = ReadError(report[0]);
    ::close(report[0]);
    return error;
}

} // namespace
} // namespace host

UINT GetWindowsDirectoryW(unsigned short* buffer, UINT size) {
    host::SetError(ERROR_SUCCESS);
    return host::CopyOut(host::kWindowsDirectory, buffer, size);
}

int wcscat_s(unsigned short* destination, std::size_t size, const unsigned short* source) {
    if (destination == nullptr || size == 0) {
        return EINVAL;
    }
    std::size_t length = 0;
    while (length < size && destination[length] != 0) {
        ++length;
    }
    if (source == nullptr || length == size) {
        destination[0] = 0;
        return EINVAL;
    }
    std::size_t added = 0;
    while (source[added] != 0) {
        ++added;
    }
    if (added >= size - length) {
        destination[0] = 0;
        return ERANGE;
    }
    std::memcpy(destination + length, source, (added + 1) * sizeof(unsigned short));
    return 0;
}

// The stand-in knows one program, the file browser (explorer.exe in any directory) with the
// parameters /select,"path", and one verb, "open". The entry is found through the drive table
// and need not exist; the desktop's file manager (or the command set through posixhost) is
// started for it, and the result tells only whether that start succeeded. Anything else gives
// SE_ERR_NOASSOC; a path with no place on the host gives the error of its resolution.
HINSTANCE ShellExecuteW(HWND window, const unsigned short* operation, const unsigned short* file,
                        const unsigned short* parameters, const unsigned short* directory,
                        int showCommand) {
    (void)window;
    (void)showCommand;
    if (file == nullptr) {
        return host::ShellFailure(ERROR_FILE_NOT_FOUND);
    }
    host::Text entry;
    if ((operation != nullptr && host::FromUnits(operation) != u"open") ||
        !host::IsFileBrowser(host::FromUnits(file)) ||
        !host::SelectedEntry(host::FromUnits(parameters), entry)) {
        return host::ShellFailure(SE_ERR_NOASSOC);
    }
    std::vector<unsigned short> units(entry.begin(), entry.end());
    units.push_back(0);
    host::HostPath resolved;
    const DWORD error = host::ResolvePath(units.data(), resolved);
    if (error != ERROR_SUCCESS) {
        return host::ShellFailure(error);
    }
    std::string workingDirectory;
    host::HostPath resolvedDirectory;
    if (directory != nullptr && directory[0] != 0 &&
        host::ResolvePath(directory, resolvedDirectory) == ERROR_SUCCESS) {
        workingDirectory = resolvedDirectory.host;
    }

    std::vector<std::string> command;
    {
        host::LauncherState& launcher = host::Launcher();
        std::lock_guard<std::mutex> lock(launcher.mutex);
        command = launcher.command;
    }
    std::vector<host::Step> steps = command.empty() ? host::DefaultSteps(resolved.host)
                                                    : host::CommandSteps(command, resolved.host);
    if (steps.empty()) {
        return host::ShellFailure(ERROR_FILE_NOT_FOUND);
    }
    const int startError = host::StartDetached(steps, workingDirectory);
    if (startError != 0) {
        return host::ShellFailure(host::ErrorFromErrno(startError));
    }
    host::SetError(ERROR_SUCCESS);
    return host::ShellResult(42);
}

} // namespace platform

namespace posixhost {

bool SetShowLauncher(const char* const* command) {
    std::vector<std::string> words;
    if (command != nullptr) {
        for (const char* const* word = command; *word != nullptr; ++word) {
            words.emplace_back(*word);
        }
    }
    if (!words.empty() && words.front().empty()) {
        return false;
    }
    platform::host::LauncherState& launcher = platform::host::Launcher();
    std::lock_guard<std::mutex> lock(launcher.mutex);
    launcher.command = std::move(words);
    return true;
}

} // namespace posixhost
} // namespace zelk
} // namespace vorlan
