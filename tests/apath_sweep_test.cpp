// Allocation-failure sweeps of the path classes: every public operation of APathComponent, APath,
// the iterators and the current directory, with each of its allocations refused in turn.
//
// After every run the blocks are all back, and either the operation returned what a run without
// refusals returns and left its object as such a run does, or std::bad_alloc came out and the
// object is as it was. Nothing in between: no parse that gives another path, no component that
// lost its text.
#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/apathiterator.h>
#include <zelk/apathreverseiterator.h>
#include <zelk/fileutils.h>

#include "allocsweep.h"
#include "testsupport.h"

#include <functional>
#include <sstream>
#include <string>

using namespace vorlan::zelk;
using namespace zelktest;

namespace {

constexpr APath::PathType kWin = APath::kWinPath;
constexpr APath::PathType kPosix = APath::kPosixPath;
constexpr unsigned long kLast = APath::kLastComponentIndex;

// The realistic path of the sweeps, and one whose components and text pass the local buffers
// and the long-path length.
const char* const kDrivePath = "Q:\\ex\\dir\\sub\\deeper\\file.txt";
std::string LongPath() {
    std::string text = "\\\\server\\share";
    for (int i = 0; i < 8; ++i) {
        text += "\\component-of-forty-characters-" + std::to_string(10000000 + i);
    }
    return text;
}

std::string Text(const AString& text) {
    return Narrow(text);
}
std::string Text(const APath& path) {
    return Narrow(path.GetPath(kWin, false)) + (path.IsAbsolute() ? " abs" : " rel");
}
std::string Text(const APathComponent& component) {
    return Narrow(component.Get()) + (component.IsWinDrive() ? "*" : "");
}
template <typename T> std::string Text(const T& value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

// Sweeps op over an object made by make. The first run, without refusals, gives the expected
// result and object.
template <typename Object, typename Make, typename Op> void SweepOn(Make make, Op op) {
    using Result = decltype(op(std::declval<Object&>()));
    Object expected = make();
    const Result expectedResult = op(expected);
    SweepAllocations([&](Sweep& sweep) {
        Object object = make();
        const Object before = object;
        Result result{};
        if (!sweep.Run([&] { result = op(object); })) {
            EXPECT_TRUE(object == before) << Text(object) << " " << sweep;
            return;
        }
        EXPECT_TRUE(result == expectedResult) << Text(result) << " " << sweep;
        EXPECT_TRUE(object == expected) << Text(object) << " " << sweep;
    });
}

// The same for the iterators, whose records are a broken invariant when a registered procedure
// returns null (that stops the process, as the death tests show): only refusals that throw.
template <typename Attempt> void SweepThrowingRefusals(Attempt attempt) {
    for (const Span span : {Span::kOnce, Span::kFromThenOn}) {
        for (unsigned long long refuseAt = 1; refuseAt <= 4096; ++refuseAt) {
            Sweep sweep(Refusal::kThrow, span, refuseAt);
            const long long liveBefore = gSweepState.live;
            attempt(sweep);
            EXPECT_EQ(gSweepState.live, liveBefore) << "blocks leaked " << sweep;
            if (!sweep.Refused() || ::testing::Test::HasFatalFailure()) {
                break;
            }
        }
    }
}

class PathSweep : public SweepTest {};

APath Win(const std::string& text) {
    return APath(AString(text.c_str()), kWin);
}
APathComponent Name(const char* text) {
    return APathComponent(AString(text));
}

TEST_F(PathSweep, ComponentOperations) {
    const auto make = [] { return Name("file.tar.gz"); };
    const auto drive = [] {
        APathComponent c = Name("C:");
        c.SetIsWinDrive();
        return c;
    };
    // Arguments are made before the refusals start: an AString refused its record reads as
    // empty, as its header says, which is another argument.
    const AString longName(std::string(300, 'n').c_str());
    const AString other("other.name"), base("a much longer base"), bz2("bz2"), none;
    const APathComponent x = Name("x");
    using C = APathComponent;
    SweepOn<C>(make, [](C& c) { return C(c.Get()); });
    SweepOn<C>(make, [](C& c) { return C(c); });
    SweepOn<C>(drive, [](C& c) { return C(c); });
    SweepOn<C>(make, [&](C& c) { return c = C(longName), true; });
    SweepOn<C>(make, [&](C& c) { return &(c = x) == &c; });
    SweepOn<C>(make, [](C& c) { return C(std::move(c)); });
    SweepOn<C>(make, [](C& c) { return c.Get(); });
    SweepOn<C>(make, [](C& c) { return c.GetBase(); });
    SweepOn<C>(make, [](C& c) { return c.GetExtension(); });
    SweepOn<C>(make, [](C&) { return C::CurrentDirAlias(); });
    SweepOn<C>(make, [](C&) { return C::ParentDirAlias(); });
    SweepOn<C>(make, [&](C& c) { return &c.Set(other) == &c; });
    SweepOn<C>(make, [&](C& c) { return &c.Set(longName) == &c; });
    SweepOn<C>(make, [&](C& c) { return &c.SetBase(base) == &c; });
    SweepOn<C>(make, [&](C& c) { return &c.SetBase(none) == &c; });
    SweepOn<C>(make, [&](C& c) { return &c.SetExtension(bz2) == &c; });
    SweepOn<C>(make, [&](C& c) { return &c.SetExtension(none) == &c; });
    SweepOn<C>(drive, [](C& c) { return &c.MakeValid(u'-') == &c && c.SetIsWinDrive(); });
    SweepOn<C>(make, [](C& c) {
        return c.IsValid() && !c.IsAlias() && !c.IsEmpty() && !c.IsWinDrive() && c == c &&
               !(c != c) && HashValue(c) == std::hash<C>()(c);
    });
    SweepOn<C>(make, [](C& c) { return Text(c); });
}

TEST_F(PathSweep, ParsingInEveryNotation) {
    const std::string longPath = LongPath();
    const struct {
        std::string text;
        APath::PathType type;
    } texts[] = {
        {kDrivePath, kWin},       {"\\\\?\\Q:\\ex\\dir", kWin},
        {longPath, kWin},         {"\\\\?\\UNC\\server\\share\\d", kWin},
        {"ex\\..\\dir\\.", kWin}, {"Q:ex\\dir\\\\", kWin},
        {"/usr/lib/x.so", kWin},  {"/usr/lib//x.so/", kPosix},
        {"a/b", kPosix},
    };
    for (const auto& t : texts) {
        SCOPED_TRACE(t.text);
        const AString text(t.text.c_str());
        SweepOn<APath>([] { return Win("C:\\old\\path"); },
                       [&](APath& p) { return p.SetPath(text, t.type); });
        SweepOn<APath>([] { return APath(); }, [&](APath&) { return APath(text, t.type); });
    }
}

TEST_F(PathSweep, RenderingAndQueries) {
    const std::string longPath = LongPath();
    for (const std::string& source : {std::string(kDrivePath), longPath}) {
        SCOPED_TRACE(source);
        const auto make = [&] { return Win(source); };
        SweepOn<APath>(make, [](APath& p) { return p.GetPath(kWin, true); });
        SweepOn<APath>(make, [](APath& p) { return p.GetPath(kPosix, false); });
        SweepOn<APath>(make, [](APath& p) { return p.GetParentPath(kWin, true); });
        SweepOn<APath>(make, [](APath& p) { return p.GetParentPath(APath::kNativePath, false); });
        SweepOn<APath>(make, [](APath& p) { return p.GetComponent(1); });
        SweepOn<APath>(make, [](APath& p) { return p[kLast]; });
        SweepOn<APath>(make, [](APath& p) { return APath(p); });
        SweepOn<APath>(make, [](APath& p) { return APath(p[0]); });
        SweepOn<APath>(make, [](APath& p) {
            return p.IsValid() && p.IsAbsolute() && !p.IsRelative() && !p.IsEmpty() &&
                   p.Size() > 2 && p == p && !(p != p) && HashValue(p) == std::hash<APath>()(p);
        });
        SweepOn<APath>(make, [](APath& p) { return Text(p); });
    }
}

TEST_F(PathSweep, EditingByIndex) {
    const auto make = [] { return Win(kDrivePath); };
    const APath other = Win("x\\y\\z");
    const APathComponent name = Name("inserted.name");
    SweepOn<APath>(make, [](APath& p) { return p.GetParent(kLast); });
    SweepOn<APath>(make, [](APath& p) { return p.Subpath(1, 3); });
    SweepOn<APath>(make, [](APath& p) { return p.DeleteComponent(2); });
    SweepOn<APath>(make, [&](APath& p) { return p.SetComponent(2, name); });
    SweepOn<APath>(make, [&](APath& p) { return p.InsertComponent(0, name, APath::kInsertAfter); });
    SweepOn<APath>(make, [&](APath& p) { return p.Replace(1, 2, other); });
    SweepOn<APath>(make, [](APath& p) { return p.Replace(1, 2, p); });
    SweepOn<APath>(make, [&](APath& p) { return p.SetParent(3, other); });
    const AString parent("\\\\srv\\sh\\d");
    SweepOn<APath>(make, [&](APath& p) { return p.SetParentPath(parent, kWin); });
    SweepOn<APath>(make, [&](APath& p) { return &p.Append(other) == &p; });
    SweepOn<APath>(make, [](APath& p) { return &p.Append(p) == &p; });
    SweepOn<APath>(make, [&](APath& p) { return &(p += name) == &p; });
    SweepOn<APath>(make, [&](APath& p) { return p + other + name; });
    SweepOn<APath>(make, [&](APath& p) { return p = other, true; });
    SweepOn<APath>([] { return APath(); }, [&](APath& p) { return &p.Append(name) == &p; });
    SweepOn<APath>(make, [](APath& p) { return p.SetAbsolute(), p.SetRelative(), true; });
}

TEST_F(PathSweep, EditingByIterator) {
    const APath other = Win("x\\y");
    const APathComponent name = Name("n");
    // Each operation with an iterator made before the refusals start.
    const std::function<bool(APath&, const APathIterator&)> forward[] = {
        [](APath& p, const APathIterator& it) { return p.GetParent(it).Size() == 2; },
        [](APath& p, const APathIterator& it) { return p.Subpath(it, 2).Size() == 2; },
        [](APath& p, const APathIterator& it) { return p.DeleteComponent(it); },
        [&](APath& p, const APathIterator& it) { return p.SetComponent(it, name); },
        [&](APath& p, const APathIterator& it) {
            return p.InsertComponent(it, name, APath::kInsertBefore);
        },
        [&](APath& p, const APathIterator& it) { return p.Replace(it, 1, other); },
        [&](APath& p, const APathIterator& it) { return p.SetParent(it, other); },
    };
    for (const auto& op : forward) {
        APath expected = Win(kDrivePath);
        const bool expectedResult = op(expected, expected.begin() + 2);
        SweepAllocations([&](Sweep& sweep) {
            APath path = Win(kDrivePath);
            const APath before = path;
            const APathIterator it = path.begin() + 2;
            bool result = false;
            if (!sweep.Run([&] { result = op(path, it); })) {
                EXPECT_TRUE(path == before) << Text(path) << " " << sweep;
                return;
            }
            EXPECT_EQ(result, expectedResult) << sweep;
            EXPECT_TRUE(path == expected) << Text(path) << " " << sweep;
        });
    }
    SweepAllocations([&](Sweep& sweep) {
        APath path = Win(kDrivePath);
        const APathReverseIterator rit = path.rbegin() + 1;
        bool result = false;
        if (sweep.Run([&] { result = path.Replace(rit, 1, other); })) {
            EXPECT_TRUE(result && Text(path) == "Q:\\ex\\dir\\sub\\x\\y\\file.txt abs") << sweep;
        } else {
            EXPECT_EQ(Text(path), std::string(kDrivePath) + " abs") << sweep;
        }
    });
}

TEST_F(PathSweep, Iterators) {
    const APath path = Win(kDrivePath);
    SweepThrowingRefusals([&](Sweep& sweep) {
        APathIterator it = path.begin();
        APathReverseIterator rit = path.rbegin();
        std::string seen;
        const bool returned = sweep.Run([&] {
            for (const APathComponent& component : path) {
                seen += Narrow(component.Get()) + "|";
            }
            const APathIterator copy(it);
            it = copy + 2;
            APathIterator before = it++;
            before = it--;
            rit = path.rend() - 1;
            const APathReverseIterator rcopy(rit);
            APathReverseIterator rbefore = rit--;
            rbefore = rcopy - 1;
            seen += Narrow(it->Get()) + Narrow(rit[0].Get()) + Narrow((*rbefore).Get());
        });
        if (returned) {
            EXPECT_EQ(seen, "Q:|ex|dir|sub|deeper|file.txt|direxex") << sweep;
        }
    });
}

TEST_F(PathSweep, ResolutionAndTheCurrentDirectory) {
    const CurrentDirGuard guard;
    const APath base = Win("\\\\srv\\share\\base");
    SweepOn<APath>([] { return Win("a\\..\\b\\.\\c"); },
                   [&](APath& p) { return p.MakeAbsolute(&base, true); });
    SweepOn<APath>([] { return Win("a\\..\\b\\.\\c"); },
                   [](APath& p) { return p.MakeAbsolute(nullptr, true); });
    const std::string drive = Narrow(guard.Saved().GetComponent(0).Get());
    SweepOn<APath>([&] { return Win(drive + "a\\b"); },
                   [](APath& p) { return p.MakeAbsolute(nullptr, false); });
    SweepOn<APath>([] { return Win("a\\..\\b\\.\\c"); },
                   [](APath& p) { return p.ResolveAliases(); });
    SweepOn<APath>([] { return APath(); }, [](APath&) { return CorePathUtils::GetCurrentDir(); });
    SweepOn<APath>([&] { return guard.Saved(); },
                   [](APath& p) { return CorePathUtils::SetCurrentDir(p); });
}

} // namespace
