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

struct Fault {
    unsigned remaining = 0; // calls of the kind until the failing one; 0 when not armed
    int error = 0;
};

struct FaultTable {
    std::mutex mutex;
    Fault faults[kCallKinds];
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
    Fault& fault = table.faults[static_cast<int>(call)];
    if (fault.remaining == 0 && count > 0) {
        gArmed.fetch_add(1);
    } else if (fault.remaining > 0 && count == 0) {
        gArmed.fetch_sub(1);
    }
    fault.remaining = count;
    fault.error = error;
}

void ClearHostFaults() {
    FaultTable& table = Faults();
    std::lock_guard<std::mutex> lock(table.mutex);
    for (Fault& fault : table.faults) {
        fault = Fault{};
    }
    gArmed.store(0);
}

bool HostCallFails(HostCall call) {
    if (gArmed.load(std::memory_order_relaxed) == 0) {
        return false;
    }
    FaultTable& table = Faults();
    std::lock_guard<std::mutex> lock(table.mutex);
    Fault& fault = table.faults[static_cast<int>(call)];
    if (fault.remaining == 0 || --fault.remaining > 0) {
        return false;
    }
    gArmed.fetch_sub(1);
    errno = fault.error;
    return true;
}

} // namespace host
} // namespace platform
} // namespace zelk
} // namespace vorlan
