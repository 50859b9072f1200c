// Allocation-failure sweeps: hooks that count live blocks and refuse a chosen allocation, and a
// driver that runs one operation with its Nth allocation refused, for N = 1, 2, ... until the
// operation runs through without a refusal.
//
// Each run is made four times over: the refused allocation gives null (a registered procedure
// that has nothing) or throws std::bad_alloc (as the default procedure does), and it is refused
// once or from then on. After each run the blocks handed out during it must all be back.
//
//     TEST_F(AStringSweep, Append) {
//         SweepAllocations([](Sweep& sweep) {
//             AString text("abc");                         // made before the refusals start
//             bool appended = false;
//             if (!sweep.Run([&] { appended = text.Append(AString("def")); })) {
//                 return;                                  // std::bad_alloc came out
//             }
//             EXPECT_EQ(appended ? "abcdef" : "abc", Narrow(text)) << sweep;
//         });
//     }
#ifndef ZELK_TESTS_ALLOCSWEEP_H
#define ZELK_TESTS_ALLOCSWEEP_H

#include <zelk/aallocator.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <ostream>

namespace zelktest {

// What a refused allocation does.
enum class Refusal { kNull, kThrow };
// Whether only the Nth allocation is refused, or every one from the Nth on.
enum class Span { kOnce, kFromThenOn };

// The state of the sweep hooks. Only the thread that runs the sweep allocates while it is armed.
struct SweepState {
    long long live = 0;              // blocks handed out through the hooks and not freed yet
    unsigned long long asked = 0;    // allocations asked for since the hooks were armed
    unsigned long long refuseAt = 0; // the allocation to refuse, counted from 1; 0 refuses none
    Span span = Span::kOnce;
    Refusal refusal = Refusal::kNull;
    bool armed = false;
    bool refused = false; // an allocation was refused since the hooks were armed
};
inline SweepState gSweepState;

inline void* SweepAlloc(unsigned long long size) {
    SweepState& state = gSweepState;
    if (state.armed) {
        ++state.asked;
        const bool refuse = state.refuseAt != 0 &&
                            (state.asked == state.refuseAt ||
                             (state.span == Span::kFromThenOn && state.asked > state.refuseAt));
        if (refuse) {
            state.refused = true;
            if (state.refusal == Refusal::kThrow) {
                throw std::bad_alloc();
            }
            return nullptr;
        }
    }
    void* block = std::malloc(size == 0 ? 1 : static_cast<std::size_t>(size));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++state.live;
    return block;
}

inline void SweepFree(void* pointer) {
    --gSweepState.live;
    std::free(pointer);
}

// One run of a sweep: how its allocations are refused, and the arming of the hooks around the
// operation under test.
class Sweep {
public:
    Sweep(Refusal refusal, Span span, unsigned long long refuseAt)
        : fRefusal(refusal), fSpan(span), fRefuseAt(refuseAt) {}

    // Runs operation with the hooks armed. False when std::bad_alloc came out of it (the object
    // it worked on must still be whole); true when it returned.
    template <typename Operation> bool Run(Operation&& operation) {
        SweepState& state = gSweepState;
        state.asked = 0;
        state.refuseAt = fRefuseAt;
        state.span = fSpan;
        state.refusal = fRefusal;
        state.refused = false;
        state.armed = true;
        bool returned = true;
        try {
            operation();
        } catch (const std::bad_alloc&) {
            returned = false;
        }
        state.armed = false;
        fAsked = state.asked;
        fRefused = state.refused;
        fThrew = !returned;
        return returned;
    }

    // Whether an allocation was refused during Run: when none was, the operation must have done
    // all it was asked.
    bool Refused() const { return fRefused; }
    // Whether std::bad_alloc came out of Run.
    bool Threw() const { return fThrew; }
    Refusal GetRefusal() const { return fRefusal; }
    Span GetSpan() const { return fSpan; }
    unsigned long long RefuseAt() const { return fRefuseAt; }
    // Allocations Run asked for.
    unsigned long long Asked() const { return fAsked; }

private:
    Refusal fRefusal;
    Span fSpan;
    unsigned long long fRefuseAt;
    unsigned long long fAsked = 0;
    bool fRefused = false;
    bool fThrew = false;
};

inline std::ostream& operator<<(std::ostream& out, const Sweep& sweep) {
    return out << "[allocation " << sweep.RefuseAt()
               << (sweep.GetSpan() == Span::kOnce ? " refused alone" : " and later refused")
               << (sweep.GetRefusal() == Refusal::kNull ? ", null" : ", std::bad_alloc")
               << (sweep.Threw() ? ", threw" : "") << "]";
}

// Calls attempt(Sweep&) for N = 1, 2, ... in each of the four ways of refusing, until a run asks
// for fewer than N allocations (so it ran through without a refusal) or N passes limit. The
// attempt makes its inputs, calls Run once and checks the outcome; every block handed out
// during the attempt must be freed when it returns.
template <typename Attempt>
void SweepAllocations(Attempt&& attempt, unsigned long long limit = 4096) {
    for (const Refusal refusal : {Refusal::kNull, Refusal::kThrow}) {
        for (const Span span : {Span::kOnce, Span::kFromThenOn}) {
            for (unsigned long long refuseAt = 1;; ++refuseAt) {
                Sweep sweep(refusal, span, refuseAt);
                const long long liveBefore = gSweepState.live;
                attempt(sweep);
                EXPECT_EQ(gSweepState.live, liveBefore) << "blocks leaked " << sweep;
                if (!sweep.Refused() || ::testing::Test::HasFatalFailure()) {
                    break;
                }
                if (refuseAt >= limit) {
                    ADD_FAILURE() << "the operation still allocates after " << limit
                                  << " allocations " << sweep;
                    break;
                }
            }
        }
    }
}

// A test whose body runs on the sweep hooks, registered before it starts and taken back after.
class SweepTest : public ::testing::Test {
protected:
    void SetUp() override {
        gSweepState = SweepState{};
        vorlan::zelk::AAllocator::RegisterMemoryProcs(SweepAlloc, SweepFree);
    }
    void TearDown() override { vorlan::zelk::AAllocator::RegisterMemoryProcs(nullptr, nullptr); }
};

} // namespace zelktest

#endif // ZELK_TESTS_ALLOCSWEEP_H
