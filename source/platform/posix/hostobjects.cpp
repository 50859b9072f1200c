// The object system of the POSIX face: initialisation per thread, object creation for the shell
// link class, and a shell link object of our own over the link file format.
#include "platform/objects.h"

#include <zelk/posixhost.h>

#include "objectalloc.h"
#include "platform/posix/hostapi.h"
#include "platform/posix/hostlink.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <string>

namespace vorlan {
namespace zelk {
namespace platform {

namespace {

constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106u);
// Link files are small; anything far larger is no link, and is not read into memory.
constexpr off_t kMaxLinkFileSize = 1 << 20;

// As on Windows, a thread joins an apartment with its first initialisation and leaves it with
// the matching last CoUninitialize. A thread that never initialised still creates objects while
// some thread holds the multithreaded apartment (the implicit apartment of Windows).
thread_local unsigned tInitCount = 0;
thread_local bool tMultithreaded = false;
std::atomic<unsigned> gMultithreadedThreads{0};

bool ThreadMayCreate() {
    return tInitCount > 0 || gMultithreadedThreads.load() > 0;
}

// A host file descriptor, closed on every way out.
class ScopedDescriptor {
public:
    explicit ScopedDescriptor(int descriptor) : fDescriptor(descriptor) {}
    ~ScopedDescriptor() {
        if (fDescriptor >= 0) {
            ::close(fDescriptor);
        }
    }
    ScopedDescriptor(const ScopedDescriptor&) = delete;
    ScopedDescriptor& operator=(const ScopedDescriptor&) = delete;
    int Get() const { return fDescriptor; }
    // Closes now and tells whether the close succeeded (a write may fail only here).
    bool Close() {
        const int descriptor = fDescriptor;
        fDescriptor = -1;
        return ::close(descriptor) == 0;
    }

private:
    int fDescriptor;
};

HRESULT FromErrno(int error, const std::string& hostPath) {
    return HRESULT_FROM_WIN32(error == ENOENT ? host::MissingEntryError(hostPath)
                                              : host::ErrorFromErrno(error));
}

// The full path text of a resolved path in Windows form: X:\a\b, or \\server\share\a\b.
host::Text FullPathText(const host::HostPath& path) {
    host::Text text;
    if (path.viaUNC) {
        text = path.remote;
    } else {
        text = host::Text{static_cast<char16_t>(u'A' + path.drive - 1), u':'};
    }
    for (const host::Text& component : path.components) {
        text += u'\\';
        text += component;
    }
    if (!path.viaUNC && path.components.empty()) {
        text += u'\\';
    }
    return text;
}

// The last component of a path text, after its last separator.
host::Text LastComponent(const host::Text& path) {
    const std::size_t separator = path.find_last_of(u"\\/");
    return separator == host::Text::npos ? path : path.substr(separator + 1);
}

// The shell link object: IShellLinkW and IPersistFile over one link's data, counted once for
// both interfaces.
class ShellLink final : public IShellLinkW, public IPersistFile {
public:
    ShellLink() = default;
    ~ShellLink() = default;
    ShellLink(const ShellLink&) = delete;
    ShellLink& operator=(const ShellLink&) = delete;

    HRESULT QueryInterface(const IID& iid, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        if (iid == IID_IUnknown || iid == IID_IShellLinkW) {
            *object = static_cast<IShellLinkW*>(this);
        } else if (iid == IID_IPersistFile) {
            *object = static_cast<IPersistFile*>(this);
        } else {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    DWORD AddRef() override { return ++fReferences; }
    DWORD Release() override {
        const DWORD left = --fReferences;
        if (left == 0) {
            DeleteRecord(this);
        }
        return left;
    }

    HRESULT GetPath(unsigned short* file, int maxPath, WIN32_FIND_DATAW* data,
                    DWORD flags) override;
    HRESULT SetPath(const unsigned short* file) override;
    HRESULT Resolve(void* window, DWORD flags) override;
    HRESULT Load(const unsigned short* fileName, DWORD mode) override;
    HRESULT Save(const unsigned short* fileName, BOOL remember) override;

private:
    // The path that GetPath gives: with preferNetwork the network form first, else the local one
    // first, then the other, then the path of the id list.
    host::Text TargetPath(bool preferNetwork) const {
        const host::Text local = fLink.LocalPath();
        const host::Text network = fLink.NetworkPath();
        if (preferNetwork && !network.empty()) {
            return network;
        }
        if (!local.empty()) {
            return local;
        }
        return network.empty() ? fLink.itemPath : network;
    }

    std::atomic<DWORD> fReferences{1};
    host::LinkTarget fLink;
    host::Text fFileName; // the file last loaded or saved with remember
};

HRESULT ShellLink::GetPath(unsigned short* file, int maxPath, WIN32_FIND_DATAW* data, DWORD flags) {
    if (data != nullptr) {
        *data = WIN32_FIND_DATAW{};
    }
    if (file == nullptr || maxPath <= 0) {
        return E_INVALIDARG;
    }
    file[0] = 0;
    const host::Text path = TargetPath((flags & SLGP_UNCPRIORITY) != 0);
    if (path.empty()) {
        return S_FALSE;
    }
    // Windows cuts a path that does not fit, and so does this.
    const std::size_t count = std::min(path.size(), static_cast<std::size_t>(maxPath) - 1);
    path.copy(reinterpret_cast<char16_t*>(file), count);
    file[count] = 0;
    if (data != nullptr) {
        data->dwFileAttributes = fLink.attributes;
        data->ftCreationTime = fLink.creationTime;
        data->ftLastAccessTime = fLink.accessTime;
        data->ftLastWriteTime = fLink.writeTime;
        data->nFileSizeLow = fLink.fileSize;
        const host::Text name = LastComponent(path);
        const std::size_t nameCount = std::min<std::size_t>(name.size(), MAX_PATH - 1);
        name.copy(reinterpret_cast<char16_t*>(data->cFileName), nameCount);
        data->cFileName[nameCount] = 0;
    }
    return S_OK;
}

HRESULT ShellLink::SetPath(const unsigned short* file) {
    if (file == nullptr) {
        return E_INVALIDARG;
    }
    host::HostPath resolved;
    const DWORD error = host::ResolvePath(file, resolved);
    if (error != 0) {
        return HRESULT_FROM_WIN32(error);
    }
    if (!resolved.viaUNC && resolved.drive == 0) {
        return E_INVALIDARG;
    }
    // A network path is kept whole as the local path, as Wine keeps it: every reader finds it
    // there.
    const host::Text full = FullPathText(resolved);
    host::LinkTarget link;
    link.localBasePath = full;
    link.hasLocal = true;
    // Like Windows, the link records what the target is now; a target that is not there yet
    // is still taken, with S_FALSE.
    WIN32_FILE_ATTRIBUTE_DATA found{};
    LastErrorSaver keep;
    const bool exists = GetFileAttributesExW(reinterpret_cast<const unsigned short*>(full.c_str()),
                                             GetFileExInfoStandard, &found) != 0;
    if (exists) {
        link.attributes = found.dwFileAttributes;
        link.creationTime = found.ftCreationTime;
        link.accessTime = found.ftLastAccessTime;
        link.writeTime = found.ftLastWriteTime;
        link.fileSize = found.nFileSizeLow;
    }
    fLink = link;
    return exists ? S_OK : S_FALSE;
}

HRESULT ShellLink::Resolve(void*, DWORD) {
    // There is no user to ask and no index of moved files to search: the link resolves when the
    // entry it names is there. A link that names no file-system entry has nothing to find.
    const host::Text path = TargetPath(false);
    if (path.empty()) {
        return S_OK;
    }
    LastErrorSaver keep;
    if (GetFileAttributesW(reinterpret_cast<const unsigned short*>(path.c_str())) ==
        INVALID_FILE_ATTRIBUTES) {
        return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    }
    return S_OK;
}

HRESULT ShellLink::Load(const unsigned short* fileName, DWORD) {
    if (fileName == nullptr) {
        return E_POINTER;
    }
    host::HostPath resolved;
    const DWORD error = host::ResolvePath(fileName, resolved);
    if (error != 0) {
        return HRESULT_FROM_WIN32(error);
    }
    // A pipe, socket or device by the name of a link is no link, and is never opened: its open
    // could wait for a partner or set a device going. Whatever stands there by the time of the
    // open is opened without waiting.
    struct stat named {};
    if (::stat(resolved.host.c_str(), &named) == 0 && !S_ISREG(named.st_mode) &&
        !S_ISDIR(named.st_mode)) {
        return E_FAIL;
    }
    ScopedDescriptor file(
        ::open(resolved.host.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (file.Get() < 0 || ::fstat(file.Get(), &status) != 0) {
        return FromErrno(errno, resolved.host);
    }
    if (S_ISDIR(status.st_mode)) {
        return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED); // as opening a directory for reading
    }
    if (!S_ISREG(status.st_mode) || status.st_size > kMaxLinkFileSize) {
        return E_FAIL;
    }
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::read(file.Get(), &bytes[done], bytes.size() - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == 0 ? E_FAIL : FromErrno(errno, resolved.host);
        }
        done += static_cast<std::size_t>(count);
    }
    host::LinkTarget link;
    if (!host::ParseShellLink(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                              link)) {
        return E_FAIL;
    }
    fLink = link;
    fFileName = host::FromUnits(fileName);
    return S_OK;
}

HRESULT ShellLink::Save(const unsigned short* fileName, BOOL remember) {
    const host::Text name = fileName != nullptr ? host::FromUnits(fileName) : fFileName;
    if (name.empty()) {
        return E_INVALIDARG;
    }
    host::HostPath resolved;
    const DWORD error =
        host::ResolvePath(reinterpret_cast<const unsigned short*>(name.c_str()), resolved);
    if (error != 0) {
        return HRESULT_FROM_WIN32(error);
    }
    const std::string bytes = host::FormatShellLink(fLink);
    ScopedDescriptor file(::open(resolved.host.c_str(),
                                 O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                                 0666));
    if (file.Get() < 0) {
        return errno == EISDIR ? HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)
                               : FromErrno(errno, resolved.host);
    }
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(file.Get(), bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == 0 ? E_FAIL : FromErrno(errno, resolved.host);
        }
        done += static_cast<std::size_t>(count);
    }
    if (!file.Close()) {
        return FromErrno(errno, resolved.host);
    }
    if (remember != 0 || fileName == nullptr) {
        fFileName = name;
    }
    return S_OK;
}

} // namespace

HRESULT CoInitializeEx(void* reserved, DWORD coInit) {
    if (reserved != nullptr) {
        return E_INVALIDARG;
    }
    const bool multithreaded = (coInit & COINIT_APARTMENTTHREADED) == 0;
    if (tInitCount > 0) {
        // A thread stays in the apartment it joined first.
        if (multithreaded != tMultithreaded) {
            return RPC_E_CHANGED_MODE;
        }
        ++tInitCount;
        return S_FALSE;
    }
    tInitCount = 1;
    tMultithreaded = multithreaded;
    if (multithreaded) {
        ++gMultithreadedThreads;
    }
    return S_OK;
}

void CoUninitialize() {
    if (tInitCount == 0) {
        return;
    }
    if (--tInitCount == 0 && tMultithreaded) {
        --gMultithreadedThreads;
    }
}

HRESULT CoCreateInstance(const CLSID& clsid, IUnknown* outer, DWORD context, const IID& iid,
                         void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (!ThreadMayCreate()) {
        return CO_E_NOTINITIALIZED;
    }
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    if (clsid != CLSID_ShellLink || (context & CLSCTX_INPROC_SERVER) == 0) {
        return REGDB_E_CLASSNOTREG;
    }
    ShellLink* link = nullptr;
    try {
        link = NewRecord<ShellLink>();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    if (link == nullptr) {
        return E_OUTOFMEMORY;
    }
    const HRESULT result = link->QueryInterface(iid, object);
    link->Release();
    return result;
}

} // namespace platform

namespace posixhost {

bool InitializeObjects(bool multithreaded) {
    return platform::SUCCEEDED(
        platform::CoInitializeEx(nullptr, multithreaded ? platform::COINIT_MULTITHREADED
                                                        : platform::COINIT_APARTMENTTHREADED));
}

void UninitializeObjects() {
    platform::CoUninitialize();
}

} // namespace posixhost
} // namespace zelk
} // namespace vorlan
