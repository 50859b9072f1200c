// The fault seam of the POSIX face: a table of armed faults, consulted before guarded host calls.
#include "platform/posix/hostfaults.h"

#include <atomic>
#include <cerrno>
#include <mutex>

namespace vorlan {
namespace zelk {
namespace platform {
namespace host {
namespace {

constexpr int kCallKinds = static_cast<int>(HostCall::kList) + 1;
// Faults armed at once on one kind of call.
constexpr int kFaultsPerKind = 4;

struct Fault {
    unsigned long long at = 0; // the number of the call that fails; 0 when not armed
    int error = 0;
};

struct CallKind {
    unsigned long long calls = 0; // calls of the kind made since the faults were cleared
    Fault faults[kFaultsPerKind];
};

struct FaultTable {
    std::mutex mutex;
    CallKind kinds[kCallKinds];
};

FaultTable& Faults() {
    static FaultTable* table = new FaultTable(); // never destroyed: calls may come at exit
    return *table;
}

// How many faults are armed; calls look no further while it is 0.
std::atomic<int> gArmed{0};

} // namespace

void FailHostCall(HostCall call, int error, unsigned count) {
    FaultTable& table = Faults();
    std::lock_guard<std::mutex> lock(table.mutex);
    CallKind& kind = table.kinds[static_cast<int>(call)];
    const unsigned long long at = kind.calls + (count == 0 ? 1 : count);
    Fault* slot = nullptr;
    for (Fault& fault : kind.faults) {
        if (fault.at == at || (slot == nullptr && fault.at == 0)) {
            slot = &fault;
        }
    }
    if (slot == nullptr) {
        return; // as many faults as a kind holds are armed already
    }
    if (slot->at == 0) {
        gArmed.fetch_add(1);
    }
    slot->at = at;
    slot->error = error;
}

void ClearHostFaults() {
    FaultTable& table = Faults();
    std::lock_guard<std::mutex> lock(table.mutex);
    for (CallKind& kind : table.kinds) {
        kind = CallKind{};
    }
    gArmed.store(0);
}

bool HostCallFails(HostCall call) {
    if (gArmed.load(std::memory_order_relaxed) == 0) {
        return false;
    }
    FaultTable& table = Faults();
    std::lock_guard<std::mutex> lock(table.mutex);
    CallKind& kind = table.kinds[static_cast<int>(call)];
    ++kind.calls;
    for (Fault& fault : kind.faults) {
        if (fault.at == kind.calls) {
            fault.at = 0;
            gArmed.fetch_sub(1);
            errno = fault.error;
            return true;
        }
    }
    return false;
}

} // namespace host
} // namespace platform
} // namespace zelk
} // namespace vorlan
