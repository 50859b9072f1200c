// The object system of the Windows face: the calls forward to ole32, and the shell link object
// of the system is handed out behind our interfaces by a thin wrapper.
//
// Our declarations come before the SDK's, whose constants are macros.
#include "platform/objects.h"

#include "objectalloc.h"
#include "platform/win/winapi.h"

#include <objbase.h>
#include <shlguid.h>
#include <shobjidl.h>

#include <atomic>
#include <new>

namespace vorlan {
namespace zelk {
namespace platform {

static_assert(sizeof(GUID) == sizeof(::GUID), "GUID layout");

namespace {

// Holds the system's IShellLinkW, and its IPersistFile once asked for, and offers both as ours.
// One count serves both interfaces; the system's pointers go when the last of ours does.
class ShellLinkWrapper final : public IShellLinkW, public IPersistFile {
public:
    explicit ShellLinkWrapper(::IShellLinkW* link) : fLink(link) {}
    ~ShellLinkWrapper() {
        if (fFile != nullptr) {
            fFile->Release();
        }
        fLink->Release();
    }
    ShellLinkWrapper(const ShellLinkWrapper&) = delete;
    ShellLinkWrapper& operator=(const ShellLinkWrapper&) = delete;

    HRESULT QueryInterface(const IID& iid, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        *object = nullptr;
        if (iid == IID_IUnknown || iid == IID_IShellLinkW) {
            *object = static_cast<IShellLinkW*>(this);
        } else if (iid == IID_IPersistFile) {
            if (fFile == nullptr) {
                const HRESULT result =
                    fLink->QueryInterface(::IID_IPersistFile, reinterpret_cast<void**>(&fFile));
                if (FAILED(result)) {
                    fFile = nullptr;
                    return result;
                }
            }
            *object = static_cast<IPersistFile*>(this);
        } else {
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
                    DWORD flags) override {
        return fLink->GetPath(win::Wide(file), maxPath, reinterpret_cast<::WIN32_FIND_DATAW*>(data),
                              flags);
    }
    HRESULT SetPath(const unsigned short* file) override { return fLink->SetPath(win::Wide(file)); }
    HRESULT Resolve(void* window, DWORD flags) override {
        return fLink->Resolve(static_cast<::HWND>(window), flags);
    }
    // Only reachable through the IPersistFile that QueryInterface handed out, so fFile is there.
    HRESULT Load(const unsigned short* fileName, DWORD mode) override {
        return fFile->Load(win::Wide(fileName), mode);
    }
    HRESULT Save(const unsigned short* fileName, BOOL remember) override {
        return fFile->Save(win::Wide(fileName), remember);
    }

private:
    std::atomic<DWORD> fReferences{1};
    ::IShellLinkW* fLink;
    ::IPersistFile* fFile = nullptr;
};

} // namespace

HRESULT CoInitializeEx(void* reserved, DWORD coInit) {
    return ::CoInitializeEx(reserved, coInit);
}

void CoUninitialize() {
    ::CoUninitialize();
}

HRESULT CoCreateInstance(const CLSID& clsid, IUnknown* outer, DWORD context, const IID& iid,
                         void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    if (clsid != CLSID_ShellLink) {
        return REGDB_E_CLASSNOTREG;
    }
    ::IShellLinkW* link = nullptr;
    HRESULT result = ::CoCreateInstance(::CLSID_ShellLink, nullptr, context, ::IID_IShellLinkW,
                                        reinterpret_cast<void**>(&link));
    if (FAILED(result)) {
        return result;
    }
    ShellLinkWrapper* wrapper = nullptr;
    try {
        wrapper = NewRecord<ShellLinkWrapper>(link);
    } catch (const std::bad_alloc&) {
    }
    if (wrapper == nullptr) {
        link->Release();
        return E_OUTOFMEMORY;
    }
    result = wrapper->QueryInterface(iid, object);
    wrapper->Release();
    return result;
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
