// The object-system calls of the platform layer and the shell link interfaces they give, under
// their Win32 names and with the layer's own types.
//
// On Windows the calls reach ole32 and the objects handed out wrap the system's shell link
// object; elsewhere the layer has a shell link object of its own that reads and writes the link
// file format. The three object-system calls are exported from the library, unlike the rest of
// the layer, so that a program testing the library initialises and uses the very object system
// the library sees. Include this header before any header of the system: the SDK's constants are
// macros and would rewrite the declarations here.
#ifndef ZELK_SOURCE_PLATFORM_OBJECTS_H
#define ZELK_SOURCE_PLATFORM_OBJECTS_H

#include "platform/platform.h"

#include <zelk/export.h>

#include <cstdint>

namespace vorlan {
namespace zelk {
namespace platform {

using HRESULT = std::int32_t;

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
using CLSID = GUID;
using IID = GUID;

inline bool operator==(const GUID& left, const GUID& right) {
    if (left.Data1 != right.Data1 || left.Data2 != right.Data2 || left.Data3 != right.Data3) {
        return false;
    }
    for (int i = 0; i < 8; ++i) {
        if (left.Data4[i] != right.Data4[i]) {
            return false;
        }
    }
    return true;
}
inline bool operator!=(const GUID& left, const GUID& right) {
    return !(left == right);
}

// {00021401-0000-0000-C000-000000000046}
constexpr CLSID CLSID_ShellLink = {0x00021401, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// {00000000-0000-0000-C000-000000000046}
constexpr IID IID_IUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// {000214F9-0000-0000-C000-000000000046}
constexpr IID IID_IShellLinkW = {0x000214F9, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// {0000010B-0000-0000-C000-000000000046}
constexpr IID IID_IPersistFile = {0x0000010B, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Results. Failures are negative.
constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);
constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0u);
constexpr bool SUCCEEDED(HRESULT result) {
    return result >= 0;
}
constexpr bool FAILED(HRESULT result) {
    return result < 0;
}
// A Win32 error number as a failure result (0 stays success).
constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) {
    return error == 0 ? S_OK : static_cast<HRESULT>((error & 0xFFFFu) | 0x80070000u);
}

// CoInitializeEx.
constexpr DWORD COINIT_MULTITHREADED = 0;
constexpr DWORD COINIT_APARTMENTTHREADED = 2;
// CoCreateInstance.
constexpr DWORD CLSCTX_INPROC_SERVER = 1;
// IShellLinkW::Resolve and GetPath; IPersistFile::Load.
constexpr DWORD SLR_NO_UI = 1;
constexpr DWORD SLGP_SHORTPATH = 1;
constexpr DWORD SLGP_UNCPRIORITY = 2;
constexpr DWORD SLGP_RAWPATH = 4;
constexpr DWORD STGM_READ = 0;

// The interfaces, in the order of their operations on Windows. The layer hands out pointers to
// them; each pointer obtained is released once.
class IUnknown {
public:
    virtual HRESULT QueryInterface(const IID& iid, void** object) = 0;
    virtual DWORD AddRef() = 0;
    virtual DWORD Release() = 0;

protected:
    ~IUnknown() = default;
};

class IShellLinkW : public IUnknown {
public:
    // The target's path into file (at most maxPath units with the terminator) and what the link
    // recorded of the target (attributes, times, size, name) into data, which may be null.
    // SLGP_UNCPRIORITY prefers the network form of the path. S_FALSE with empty text for a link
    // that holds no path.
    virtual HRESULT GetPath(unsigned short* file, int maxPath, WIN32_FIND_DATAW* data,
                            DWORD flags) = 0;
    // Makes file, taken as a full path, the link's target, recording what it is now.
    virtual HRESULT SetPath(const unsigned short* file) = 0;
    // Finds the link's target; fails when it can't be found. window is null here, and flags
    // carry SLR_NO_UI.
    virtual HRESULT Resolve(void* window, DWORD flags) = 0;

protected:
    ~IShellLinkW() = default;
};

class IPersistFile : public IUnknown {
public:
    // Reads the link file; fails for a missing entry, a directory or anything that is no link.
    virtual HRESULT Load(const unsigned short* fileName, DWORD mode) = 0;
    // Writes the link to fileName, or to the file last loaded or saved when it is null.
    virtual HRESULT Save(const unsigned short* fileName, BOOL remember) = 0;

protected:
    ~IPersistFile() = default;
};

// The object system of the calling thread. Nothing in the library initialises it. S_OK for the
// thread's first initialisation, S_FALSE for each further one; every success wants its
// CoUninitialize.
ZELK_API HRESULT CoInitializeEx(void* reserved, DWORD coInit);
ZELK_API void CoUninitialize();
// A new object of the class behind the interface iid, in *object (null on failure);
// CO_E_NOTINITIALIZED on a thread that has not initialised the object system while no thread
// holds the multithreaded apartment, REGDB_E_CLASSNOTREG for a class other than the shell link,
// E_NOINTERFACE for an interface the object lacks.
ZELK_API HRESULT CoCreateInstance(const CLSID& clsid, IUnknown* outer, DWORD context,
                                  const IID& iid, void** object);

// Holds one interface pointer and releases it on every way out.
template <typename Interface> class ScopedInterface {
public:
    ScopedInterface() = default;
    ~ScopedInterface() { Reset(); }
    ScopedInterface(const ScopedInterface&) = delete;
    ScopedInterface& operator=(const ScopedInterface&) = delete;

    Interface* Get() const { return fPointer; }
    Interface* operator->() const { return fPointer; }
    explicit operator bool() const { return fPointer != nullptr; }
    // Where a call that hands out a pointer writes it; releases the one held before.
    void** Receive() {
        Reset();
        return reinterpret_cast<void**>(&fPointer);
    }
    void Reset() {
        if (fPointer != nullptr) {
            fPointer->Release();
            fPointer = nullptr;
        }
    }

private:
    Interface* fPointer = nullptr;
};

} // namespace platform
} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_PLATFORM_OBJECTS_H
