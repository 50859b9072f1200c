// The drive table, the current drive and directories, and path text to host path.
#include <zelk/posixhost.h>

#include "platform/posix/hostapi.h"

#include <atomic>
#include <climits>
#include <cstdlib>
#include <mutex>

namespace vorlan {
namespace zelk {
namespace platform {
namespace host {

namespace {

constexpr int kDriveCount = 26;
constexpr int kDefaultDrive = 26; // Z: is the host root

struct Drive {
    bool mapped = false;
    std::string root;      // canonical host directory; empty for the host root /
    Text remote;           // \\server\share, or empty
    std::vector<Text> cwd; // the drive's current directory below its root
};

// The process-wide state that Windows keeps for a process: the drives and which one is current.
// The host's own working directory is the current directory; the table says which drive it is
// reported through.
struct State {
    std::mutex mutex;
    Drive drives[kDriveCount + 1]; // index 1 for A
    int current = 0;               // 0 until first asked, or when no drive holds the directory
    bool currentViaUNC = false;
    State() { drives[kDefaultDrive].mapped = true; }
};

State& TheState() {
    static State* state = new State(); // never destroyed: other static objects may still call
    return *state;
}

bool IsSeparator(char16_t unit) {
    return unit == u'\\' || unit == u'/';
}

int DriveNumber(char16_t letter) {
    if (letter >= u'A' && letter <= u'Z') {
        return letter - u'A' + 1;
    }
    if (letter >= u'a' && letter <= u'z') {
        return letter - u'a' + 1;
    }
    return 0;
}

// Whether the canonical host path lies at or below root ("" for /).
bool HoldsPath(const std::string& root, const std::string& path) {
    if (root.empty()) {
        return !path.empty() && path[0] == '/';
    }
    return path.compare(0, root.size(), root) == 0 &&
           (path.size() == root.size() || path[root.size()] == '/');
}

// The components of the host path below root, as text.
std::vector<Text> ComponentsBelow(const std::string& root, const std::string& path) {
    std::vector<Text> components;
    std::size_t start = root.size();
    while (start < path.size()) {
        while (start < path.size() && path[start] == '/') {
            ++start;
        }
        std::size_t end = path.find('/', start);
        if (end == std::string::npos) {
            end = path.size();
        }
        if (end > start) {
            components.push_back(FromHostBytes(path.data() + start, end - start));
        }
        start = end;
    }
    return components;
}

std::string HostPathOf(const Drive& drive, const std::vector<Text>& components) {
    std::string host = drive.root;
    for (const Text& component : components) {
        host += '/';
        AppendHostBytes(component.data(), component.size(), host);
    }
    if (host.empty()) {
        host = "/";
    }
    return host;
}

// The mapped drive with the longest root that holds the host path, 0 for none. The preferred
// drive wins when it holds the path at all.
int DriveHolding(const State& state, const std::string& path, int preferred) {
    if (preferred != 0 && state.drives[preferred].mapped &&
        HoldsPath(state.drives[preferred].root, path)) {
        return preferred;
    }
    int best = 0;
    for (int drive = kDriveCount; drive >= 1; --drive) {
        const Drive& candidate = state.drives[drive];
        if (candidate.mapped && HoldsPath(candidate.root, path) &&
            (best == 0 || candidate.root.size() > state.drives[best].root.size())) {
            best = drive;
        }
    }
    return best;
}

bool HostWorkingDirectory(std::string& out) {
    std::vector<char> buffer(PATH_MAX);
    for (;;) {
        if (::getcwd(buffer.data(), buffer.size()) != nullptr) {
            out.assign(buffer.data());
            return true;
        }
        if (errno != ERANGE || buffer.size() > (1u << 20)) {
            return false;
        }
        buffer.resize(buffer.size() * 2);
    }
}

// The current directory as drive and components. Keeps the current drive's own entry up to
// date. False when the host's directory is gone or no drive holds it.
struct Location {
    int drive = 0;
    std::vector<Text> components;
};
bool CurrentLocation(State& state, Location& out, DWORD& error) {
    // The directory as it was last made current, links in it kept as named, while the host's
    // working directory is still that one; otherwise the host's own canonical name for it.
    if (state.current != 0 && state.drives[state.current].mapped) {
        const Drive& drive = state.drives[state.current];
        struct stat remembered {};
        struct stat working {};
        if (::stat(HostPathOf(drive, drive.cwd).c_str(), &remembered) == 0 &&
            ::stat(".", &working) == 0 && remembered.st_dev == working.st_dev &&
            remembered.st_ino == working.st_ino) {
            out.drive = state.current;
            out.components = drive.cwd;
            return true;
        }
    }
    std::string cwd;
    if (!HostWorkingDirectory(cwd)) {
        error = ErrorFromErrno(errno) == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND
                                                              : ErrorFromErrno(errno);
        return false;
    }
    const int drive = DriveHolding(state, cwd, state.current);
    if (drive != state.current) {
        state.current = drive;
        state.currentViaUNC = false;
    }
    if (drive == 0) {
        error = ERROR_PATH_NOT_FOUND;
        return false;
    }
    out.drive = drive;
    out.components = ComponentsBelow(state.drives[drive].root, cwd);
    state.drives[drive].cwd = out.components;
    return true;
}

Text RenderDriveForm(int drive, const std::vector<Text>& components) {
    Text text;
    text += static_cast<char16_t>(u'A' + drive - 1);
    text += u":\\";
    for (std::size_t i = 0; i < components.size(); ++i) {
        if (i > 0) {
            text += u'\\';
        }
        text += components[i];
    }
    return text;
}

Text RenderUNCForm(const Text& remote, const std::vector<Text>& components) {
    Text text = remote;
    text += u'\\';
    for (std::size_t i = 0; i < components.size(); ++i) {
        if (i > 0) {
            text += u'\\';
        }
        text += components[i];
    }
    return text;
}

// Splits text at separators and applies each segment to components: empty and . do nothing,
// .. goes up but never above the root.
DWORD ApplySegments(const Text& text, std::size_t start, std::vector<Text>& components) {
    std::size_t position = start;
    while (position < text.size()) {
        std::size_t end = position;
        while (end < text.size() && !IsSeparator(text[end])) {
            ++end;
        }
        const Text segment = text.substr(position, end - position);
        if (segment.empty() || segment == u".") {
            // nothing
        } else if (segment == u"..") {
            if (!components.empty()) {
                components.pop_back();
            }
        } else if (segment.size() > 255) {
            return ERROR_FILENAME_EXCED_RANGE;
        } else {
            components.push_back(segment);
        }
        position = end + 1;
    }
    return ERROR_SUCCESS;
}

// \\server\share at text[start...]: the drive that carries that remote name, and where the
// rest of the text begins.
DWORD FindShare(const State& state, const Text& text, std::size_t start, int& drive,
                std::size_t& rest) {
    std::size_t position = start;
    Text parts[2];
    for (Text& part : parts) {
        const std::size_t begin = position;
        while (position < text.size() && !IsSeparator(text[position])) {
            ++position;
        }
        part = text.substr(begin, position - begin);
        if (part.empty()) {
            return ERROR_BAD_PATHNAME;
        }
        if (position < text.size()) {
            ++position;
        }
    }
    const Text remote = u"\\\\" + parts[0] + u"\\" + parts[1];
    for (int candidate = 1; candidate <= kDriveCount; ++candidate) {
        if (state.drives[candidate].mapped && EqualNoCase(state.drives[candidate].remote, remote)) {
            drive = candidate;
            rest = position;
            return ERROR_SUCCESS;
        }
    }
    return ERROR_BAD_NETPATH;
}

DWORD ResolveLocked(State& state, const Text& text, HostPath& out) {
    if (text.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    std::size_t rest = 0;
    int drive = 0;
    bool viaUNC = false;
    std::vector<Text> components;
    const bool prefixed = text.size() >= 4 && IsSeparator(text[0]) && IsSeparator(text[1]) &&
                          (text[2] == u'?' || text[2] == u'.') && IsSeparator(text[3]);
    if (prefixed) {
        // \\?\X:\... or \\?\UNC\server\share\...
        if (text.size() >= 6 && DriveNumber(text[4]) != 0 && text[5] == u':' &&
            (text.size() == 6 || IsSeparator(text[6]))) {
            drive = DriveNumber(text[4]);
            rest = 6;
        } else if (text.size() >= 8 && EqualNoCase(text.substr(4, 3), u"UNC") &&
                   IsSeparator(text[7])) {
            const DWORD error = FindShare(state, text, 8, drive, rest);
            if (error != ERROR_SUCCESS) {
                return error;
            }
            viaUNC = true;
        } else {
            return ERROR_INVALID_NAME;
        }
    } else if (text.size() >= 2 && IsSeparator(text[0]) && IsSeparator(text[1])) {
        const DWORD error = FindShare(state, text, 2, drive, rest);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        viaUNC = true;
    } else if (text.size() >= 2 && DriveNumber(text[0]) != 0 && text[1] == u':') {
        drive = DriveNumber(text[0]);
        rest = 2;
        if (text.size() == 2 || !IsSeparator(text[2])) {
            // Drive-relative: against that drive's own current directory.
            if (!state.drives[drive].mapped) {
                return ERROR_PATH_NOT_FOUND;
            }
            Location location;
            DWORD error = 0;
            if (CurrentLocation(state, location, error)) {
                components =
                    location.drive == drive ? location.components : state.drives[drive].cwd;
            } else if (state.current == 0 || state.current == drive) {
                // The current directory is gone, and with it this drive's directory (or which
                // drive it was on): no path is made of a directory that isn't known.
                return error;
            } else {
                components = state.drives[drive].cwd;
            }
        }
    } else {
        Location location;
        DWORD error = 0;
        if (!CurrentLocation(state, location, error)) {
            return error;
        }
        drive = location.drive;
        viaUNC = state.currentViaUNC;
        if (!IsSeparator(text[0])) {
            components = location.components;
        }
    }
    if (!state.drives[drive].mapped) {
        return ERROR_PATH_NOT_FOUND;
    }
    const DWORD error = ApplySegments(text, rest, components);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    out.drive = drive;
    out.viaUNC = viaUNC;
    out.remote = viaUNC ? state.drives[drive].remote : Text();
    out.host = HostPathOf(state.drives[drive], components);
    out.components = std::move(components);
    return ERROR_SUCCESS;
}

bool ChangeDirectoryLocked(State& state, int drive, const std::vector<Text>& components,
                           bool viaUNC) {
    const std::string host = HostPathOf(state.drives[drive], components);
    struct stat info {};
    if (::stat(host.c_str(), &info) != 0) {
        return Fail(errno == ENOENT ? MissingEntryError(host) : ErrorFromErrno(errno));
    }
    if (!S_ISDIR(info.st_mode)) {
        return Fail(ERROR_DIRECTORY);
    }
    if (::chdir(host.c_str()) != 0) {
        return FailWithErrno();
    }
    state.current = drive;
    state.currentViaUNC = viaUNC;
    state.drives[drive].cwd = components;
    return true;
}

std::atomic<UINT> gErrorMode{0};

} // namespace

DWORD ResolvePath(const unsigned short* text, HostPath& out) {
    if (text == nullptr) {
        return ERROR_PATH_NOT_FOUND;
    }
    State& state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    return ResolveLocked(state, FromUnits(text), out);
}

std::string LastName(const HostPath& path) {
    return path.components.empty() ? std::string() : ToHostBytes(path.components.back());
}

bool DriveMapping(int drive, Text& remote) {
    if (drive < 1 || drive > kDriveCount) {
        return false;
    }
    State& state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    remote = state.drives[drive].remote;
    return state.drives[drive].mapped;
}

int DriveOfText(const Text& text) {
    return text.size() >= 2 && text[1] == u':' ? DriveNumber(text[0]) : 0;
}

Text DriveFormOfHostPath(const std::string& hostPath) {
    State& state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    const int drive = DriveHolding(state, hostPath, 0);
    if (drive == 0) {
        return Text();
    }
    return RenderDriveForm(drive, ComponentsBelow(state.drives[drive].root, hostPath));
}

} // namespace host

UINT SetErrorMode(UINT mode) {
    // There is no dialog to suppress on this host; the mode is kept for the callers that read
    // it back.
    return host::gErrorMode.exchange(mode);
}

int _getdrive() {
    host::State& state = host::TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    host::Location location;
    DWORD error = 0;
    if (!host::CurrentLocation(state, location, error) || state.currentViaUNC) {
        return 0;
    }
    return location.drive;
}

int _chdrive(int drive) {
    host::State& state = host::TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (drive < 1 || drive > host::kDriveCount || !state.drives[drive].mapped) {
        errno = EACCES;
        host::SetError(ERROR_INVALID_DRIVE);
        return -1;
    }
    host::Location location;
    DWORD error = 0;
    host::CurrentLocation(state, location, error); // records the drive being left
    // The drive's own directory, or its root when that directory has gone meanwhile.
    const std::vector<host::Text> remembered = state.drives[drive].cwd;
    if (host::ChangeDirectoryLocked(state, drive, remembered, false) ||
        host::ChangeDirectoryLocked(state, drive, {}, false)) {
        return 0;
    }
    errno = EACCES;
    return -1;
}

DWORD GetCurrentDirectoryW(DWORD bufferLength, unsigned short* buffer) {
    host::State& state = host::TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    host::Location location;
    DWORD error = 0;
    if (!host::CurrentLocation(state, location, error)) {
        host::SetError(error);
        return 0;
    }
    const host::Text text =
        state.currentViaUNC
            ? host::RenderUNCForm(state.drives[location.drive].remote, location.components)
            : host::RenderDriveForm(location.drive, location.components);
    host::SetError(ERROR_SUCCESS);
    return host::CopyOut(text, buffer, bufferLength);
}

BOOL SetCurrentDirectoryW(const unsigned short* path) {
    host::State& state = host::TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    host::HostPath target;
    const DWORD error = path == nullptr ? ERROR_INVALID_PARAMETER
                                        : host::ResolveLocked(state, host::FromUnits(path), target);
    if (error != ERROR_SUCCESS) {
        return host::Fail(error);
    }
    host::Location location;
    DWORD ignored = 0;
    host::CurrentLocation(state, location, ignored); // records the drive being left
    return host::ChangeDirectoryLocked(state, target.drive, target.components, target.viaUNC) ? 1
                                                                                              : 0;
}

DWORD GetTempPathW(DWORD bufferLength, unsigned short* buffer) {
    // TMPDIR when it names a directory, else /tmp, in its drive form.
    const char* variable = std::getenv("TMPDIR");
    std::string chosen = (variable != nullptr && variable[0] == '/') ? variable : "/tmp";
    char* resolved = ::realpath(chosen.c_str(), nullptr);
    if (resolved == nullptr && chosen != "/tmp") {
        resolved = ::realpath("/tmp", nullptr);
    }
    if (resolved == nullptr) {
        host::SetError(ERROR_PATH_NOT_FOUND);
        return 0;
    }
    const std::string canonical(resolved);
    std::free(resolved);
    host::Text text = host::DriveFormOfHostPath(canonical);
    if (text.empty()) {
        host::SetError(ERROR_PATH_NOT_FOUND);
        return 0;
    }
    if (text.back() != u'\\') {
        text += u'\\';
    }
    host::SetError(ERROR_SUCCESS);
    return host::CopyOut(text, buffer, bufferLength);
}

} // namespace platform

namespace posixhost {

bool MapDrive(char letter, const char* hostDirectory, const char* remoteName) {
    const int drive = platform::host::DriveNumber(static_cast<char16_t>(letter));
    if (drive == 0 || hostDirectory == nullptr || hostDirectory[0] != '/') {
        return false;
    }
    char* resolved = ::realpath(hostDirectory, nullptr);
    if (resolved == nullptr) {
        return false;
    }
    std::string root(resolved);
    std::free(resolved);
    struct stat info {};
    if (::stat(root.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        return false;
    }
    if (root == "/") {
        root.clear();
    }
    platform::host::Text remote;
    if (remoteName != nullptr) {
        const std::string bytes(remoteName);
        const platform::host::Text text = platform::host::FromHostBytes(bytes);
        // \\server\share and nothing more.
        std::size_t position = 2;
        platform::host::Text parts[2];
        if (text.size() < 2 || !platform::host::IsSeparator(text[0]) ||
            !platform::host::IsSeparator(text[1])) {
            return false;
        }
        for (int i = 0; i < 2; ++i) {
            const std::size_t begin = position;
            while (position < text.size() && !platform::host::IsSeparator(text[position])) {
                ++position;
            }
            parts[i] = text.substr(begin, position - begin);
            if (parts[i].empty() || parts[i] == u"." || parts[i] == u"..") {
                return false;
            }
            if (i == 0 && position < text.size()) {
                ++position;
            }
        }
        if (position != text.size()) {
            return false;
        }
        remote = u"\\\\" + parts[0] + u"\\" + parts[1];
    }
    platform::host::State& state = platform::host::TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    platform::host::Drive& entry = state.drives[drive];
    entry.mapped = true;
    entry.root = std::move(root);
    entry.remote = std::move(remote);
    entry.cwd.clear();
    if (state.current == drive) {
        state.current = 0; // found again from the host's directory when next asked
        state.currentViaUNC = false;
    }
    return true;
}

bool UnmapDrive(char letter) {
    const int drive = platform::host::DriveNumber(static_cast<char16_t>(letter));
    if (drive == 0) {
        return false;
    }
    platform::host::State& state = platform::host::TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    platform::host::Drive& entry = state.drives[drive];
    if (!entry.mapped) {
        return false;
    }
    entry = platform::host::Drive();
    if (state.current == drive) {
        state.current = 0;
        state.currentViaUNC = false;
    }
    return true;
}

} // namespace posixhost
} // namespace zelk
} // namespace vorlan
