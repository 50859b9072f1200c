// Tests of APath: parsing in both notations, rendering, long-path forms and editing.
#include <zelk/apath.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

using namespace vorlan::zelk;

namespace {

constexpr APath::PathType kWin = APath::kWinPath;
constexpr APath::PathType kPosix = APath::kPosixPath;
constexpr unsigned long kLast = APath::kLastComponentIndex;

std::string Str(const AString& text) {
    std::string out;
    for (const unsigned short* unit = text.GrabWString(); *unit != 0; ++unit) {
        out += static_cast<char>(*unit);
    }
    return out;
}

// Components are written as their text, with a trailing '*' for a drive and "" for an empty one.
using Components = std::vector<std::string>;

Components ComponentsOf(const APath& path) {
    Components out;
    for (unsigned long i = 0; i < path.Size(); ++i) {
        out.push_back(Str(path[i].Get()) + (path[i].IsWinDrive() ? "*" : ""));
    }
    return out;
}

// A path of exactly these components and this flag, built by editing alone.
APath Build(const Components& components, bool absolute) {
    APath path;
    const APath emptyOne("/", kPosix); // one empty component
    for (const std::string& text : components) {
        if (text.empty()) {
            path.Append(emptyOne);
            continue;
        }
        const bool drive = text.back() == '*';
        APathComponent component(AString(text.substr(0, text.size() - drive).c_str()));
        if (drive) {
            component.SetIsWinDrive();
        }
        path.Append(component);
    }
    absolute ? path.SetAbsolute() : path.SetRelative();
    return path;
}

struct ParseRow {
    const char* text;
    Components components;
    bool absolute;
    bool roundTrip; // written in the same notation and parsed again, the list is the same
};

const ParseRow kWinRows[] = {
    // drive and drive-relative
    {"C:\\dir\\file.txt", {"C:*", "dir", "file.txt"}, true, true},
    {"C:/dir\\file.txt", {"C:*", "dir", "file.txt"}, true, true},
    {"c:\\", {"c:*"}, true, true},
    {"C:", {"C:*"}, true, true},
    {"C:file", {"C:*", "file"}, false, true},
    {"C:dir\\file", {"C:*", "dir", "file"}, false, true},
    {"C:\\\\dir", {"C:*", "dir"}, true, true},
    {"C:\\dir\\", {"C:*", "dir"}, true, true},
    {"C:\\dir\\\\", {"C:*", "dir", ""}, true, false},
    {"C:\\C:\\x", {"C:*", "C:*", "x"}, true, true},
    {"C:\\dir\\C:", {"C:*", "dir", "C:"}, true, true},
    {"\\\\?\\C:\\dir", {"C:*", "dir"}, true, true},
    {"\\\\?\\C:", {"C:*"}, true, true},
    // UNC
    {"\\\\server\\share", {"server", "share"}, true, true},
    {"\\\\server\\share\\", {"server", "share"}, true, true},
    {"//server/share/dir", {"server", "share", "dir"}, true, true},
    {"\\\\\\server\\\\share\\\\dir", {"server", "share", "dir"}, true, true},
    {"\\\\?\\UNC\\server\\share\\dir", {"server", "share", "dir"}, true, true},
    {"\\\\server\\\\", {"server", ""}, true, false},
    {"\\\\?\\dir\\file", {"?", "dir", "file"}, true, true},
    {"\\\\?\\unc\\server\\share", {"?", "unc", "server", "share"}, true, true},
    // relative
    {"dir\\file.txt", {"dir", "file.txt"}, false, true},
    {"dir/file.txt", {"dir", "file.txt"}, false, true},
    {"dir//file", {"dir", "file"}, false, true},
    {"dir\\", {"dir"}, false, true},
    {"dir\\\\", {"dir", ""}, false, false},
    {".", {"."}, false, true},
    {"..\\dir", {"..", "dir"}, false, true},
    {"1:\\dir", {"1:", "dir"}, false, true},
    // rooted with no drive or server: POSIX
    {"/", {""}, true, false},
    {"/usr/bin", {"", "usr", "bin"}, true, false},
    {"//", {"", ""}, true, false},
    {"\\usr\\bin", {"\\usr\\bin"}, false, true},
    {"\\", {"\\"}, false, true},
    {"\\\\server", {"\\\\server"}, false, true},
    {"\\\\server\\", {"\\\\server\\"}, false, true},
    {"\\\\?\\UNC\\server", {"\\\\?\\UNC\\server"}, false, true},
    {"", {}, false, true},
};

const ParseRow kPosixRows[] = {
    {"/", {""}, true, true},
    {"/usr/bin", {"", "usr", "bin"}, true, true},
    {"/usr/bin/", {"", "usr", "bin", ""}, true, true},
    {"//usr//bin", {"", "usr", "bin"}, true, true},
    {"//", {"", ""}, true, false},
    {"usr/bin", {"usr", "bin"}, false, true},
    {"usr/bin/", {"usr", "bin", ""}, false, true},
    {"usr//", {"usr", ""}, false, true},
    {"./a/../b", {".", "a", "..", "b"}, false, true},
    {"C:/dir", {"C:", "dir"}, false, true},
    {"dir\\file", {"dir\\file"}, false, true},
};

void CheckParseRows(const ParseRow* rows, std::size_t count, APath::PathType type) {
    for (std::size_t r = 0; r < count; ++r) {
        const ParseRow& row = rows[r];
        SCOPED_TRACE(row.text);
        const APath path(AString(row.text), type);
        EXPECT_EQ(ComponentsOf(path), row.components);
        EXPECT_EQ(path.IsAbsolute(), row.absolute);
        EXPECT_EQ(path, Build(row.components, row.absolute));
        // Parsing again, into a path that held something else, gives an equal path.
        APath again(AString("x:\\old\\list"), kWin);
        EXPECT_TRUE(again.SetPath(AString(row.text), type));
        EXPECT_EQ(again, path);
        const APath back(path.GetPath(type, false), type);
        EXPECT_EQ(back == path, row.roundTrip) << Str(path.GetPath(type, false));
    }
}

TEST(APathParse, WindowsNotation) {
    CheckParseRows(kWinRows, std::size(kWinRows), kWin);
    CheckParseRows(kWinRows, std::size(kWinRows), APath::kNativePath);
}

TEST(APathParse, PosixNotation) {
    CheckParseRows(kPosixRows, std::size(kPosixRows), kPosix);
}

TEST(APathParse, TypeOutsideTheEnumeration) {
    APath path(AString("a\\b"), kWin);
    EXPECT_FALSE(path.SetPath(AString("c"), static_cast<APath::PathType>(4)));
    EXPECT_EQ(ComponentsOf(path), (Components{"a", "b"}));
    EXPECT_TRUE(APath(AString("c"), static_cast<APath::PathType>(0)).IsEmpty());
    EXPECT_TRUE(path.SetPath(AString(""), static_cast<APath::PathType>(0)));
    EXPECT_TRUE(path.IsEmpty());
    EXPECT_FALSE(path.IsAbsolute());
}

TEST(APathParse, EqualityAndValidity) {
    EXPECT_NE(APath(AString("C:\\dir"), kWin), APath(AString("c:\\dir"), kWin));
    EXPECT_EQ(APath(AString("dir/a"), kPosix), APath(AString("dir\\a"), kWin));
    for (const char* text :
         {"C:\\dir\\file.txt", "C:", "\\\\server\\share", "dir\\file", "usr/bin", ".", ".."}) {
        EXPECT_TRUE(APath(AString(text), kWin).IsValid()) << text;
    }
    for (const char* text :
         {"", "/", "/usr/bin", "\\\\?\\dir\\file", "C:\\dir\\\\", "C:\\C:\\x", "C:\\dir\\C:"}) {
        EXPECT_FALSE(APath(AString(text), kWin).IsValid()) << text;
    }
    EXPECT_FALSE(APath(AString(("a\\" + std::string(256, 'x')).c_str()), kWin).IsValid());
    EXPECT_TRUE(APath(AString(("a\\" + std::string(255, 'x')).c_str()), kWin).IsValid());
}

TEST(APathParse, CopyMoveAndComponentConstructor) {
    APathComponent drive(AString("C:"));
    drive.SetIsWinDrive();
    const APath fromDrive(drive);
    EXPECT_EQ(ComponentsOf(fromDrive), (Components{"C:*"}));
    EXPECT_FALSE(fromDrive.IsAbsolute());
    EXPECT_TRUE(APath(APathComponent()).IsEmpty());

    APath source(AString("C:\\a"), kWin);
    APath copy(source);
    EXPECT_EQ(copy, source);
    copy.DeleteComponent(0);
    EXPECT_EQ(source.Size(), 2u);
    APath other(AString("x"), kWin);
    other = std::move(source); // swaps
    EXPECT_EQ(ComponentsOf(source), (Components{"x"}));
    EXPECT_EQ(ComponentsOf(other), (Components{"C:*", "a"}));
}

// ---- rendering

struct RenderRow {
    Components components;
    bool absolute;
    unsigned long count; // the whole list or all but the last
    const char* posix;   // nullptr where the row is for one notation only
    const char* win;
};

const RenderRow kRenderRows[] = {
    {{"", "usr", "bin"}, true, 3, "/usr/bin", "\\usr\\bin"},
    {{"", "usr", "bin"}, true, 2, "/usr", "\\usr"},
    {{""}, true, 1, "/", "\\"},
    {{"", ""}, true, 2, "/", "\\"},
    {{"", "usr", ""}, true, 3, "/usr/", "\\usr\\"},
    {{"C:*"}, true, 1, "/C:", "C:\\"},
    {{"C:*"}, false, 1, "C:", "C:\\"},
    {{"C:*", "dir"}, true, 2, "/C:/dir", "C:\\dir"},
    {{"C:*", "dir"}, true, 1, "/C:", "C:\\"},
    {{"C:*", "dir"}, false, 2, "C:/dir", "C:dir"},
    {{"C:*", "dir", "file.txt"}, true, 3, nullptr, "C:\\dir\\file.txt"},
    {{"C:*", "dir", "file.txt"}, true, 2, nullptr, "C:\\dir"},
    {{"C:*", "dir", ""}, true, 3, nullptr, "C:\\dir\\"},
    {{"C:*", "dir", "file"}, false, 3, nullptr, "C:dir\\file"},
    {{"C:*", "file"}, false, 1, nullptr, "C:"},
    {{"server", "share", "dir"}, true, 3, "/server/share/dir", "\\\\server\\share\\dir"},
    {{"server", "share", "dir"}, true, 2, "/server/share", "\\\\server\\share"},
    {{"server", "share"}, true, 1, "/server", ""},
    {{"server"}, true, 1, "/server", "server"},
    {{"a", "b"}, false, 2, "a/b", "a\\b"},
    {{"a", ""}, false, 2, "a/", "a\\"},
    {{"", "a"}, false, 2, "a", "\\a"},
    {{""}, false, 1, "", "\\"},
};

TEST(APathRender, Tables) {
    for (const RenderRow& row : kRenderRows) {
        const APath path = Build(row.components, row.absolute);
        SCOPED_TRACE(Str(path.GetPath(kWin, false)) + " count " + std::to_string(row.count));
        const bool whole = row.count == path.Size();
        ASSERT_TRUE(whole || row.count + 1 == path.Size());
        for (APath::PathType type : {kPosix, kWin, APath::kNativePath}) {
            const char* expected = type == kPosix ? row.posix : row.win;
            if (expected != nullptr) {
                const AString text =
                    whole ? path.GetPath(type, true) : path.GetParentPath(type, true);
                EXPECT_EQ(Str(text), expected);
            }
        }
    }
}

TEST(APathRender, EdgeCases) {
    const APath empty;
    EXPECT_EQ(Str(empty.GetPath(kWin, true)), "");
    EXPECT_EQ(Str(empty.GetParentPath(kPosix, true)), "");
    const APath path(AString("C:\\dir"), kWin);
    EXPECT_EQ(Str(path.GetPath(static_cast<APath::PathType>(0), false)), "");
    EXPECT_EQ(Str(path.GetPath(static_cast<APath::PathType>(4), false)), "");
    EXPECT_EQ(Str(APath(AString("C:"), kWin).GetParentPath(kWin, false)), "");
    EXPECT_EQ(Str(APath(AString("/usr"), kPosix).GetParentPath(kPosix, false)), "/");
    EXPECT_EQ(Str(APath(AString("/usr"), kPosix).GetParentPath(kWin, false)), "\\");
    EXPECT_EQ(Str(APath(AString("dir"), kPosix).GetParentPath(kWin, false)), "");
    EXPECT_EQ(Str(APath(AString("\\\\?\\C:\\dir"), kWin).GetPath(kWin, true)), "C:\\dir");
}

// A text of exactly length characters: head, then segments of 'a'.
std::string LongText(const std::string& head, std::size_t length) {
    std::string text = head;
    while (text.size() < length) {
        text += std::string(std::min<std::size_t>(100, length - text.size() - 1), 'a') + "\\";
    }
    text.back() = 'z';
    return text;
}

TEST(APathRender, LongPathPrefix) {
    const std::string drive260 = LongText("C:\\", 260), drive261 = LongText("C:\\", 261);
    const std::string unc261 = LongText("\\\\server\\share\\", 261);
    EXPECT_EQ(Str(APath(AString(drive260.c_str()), kWin).GetPath(kWin, true)), drive260);
    const APath drive(AString(drive261.c_str()), kWin);
    const APath unc(AString(unc261.c_str()), kWin);
    const AString driveLong = drive.GetPath(kWin, true);
    const AString uncLong = unc.GetPath(kWin, true);
    EXPECT_EQ(driveLong.CharCount(), 265u);
    EXPECT_EQ(Str(driveLong), "\\\\?\\" + drive261);
    EXPECT_EQ(uncLong.CharCount(), 267u);
    EXPECT_EQ(Str(uncLong), "\\\\?\\UNC\\" + unc261.substr(2));
    EXPECT_EQ(APath(driveLong, kWin), drive);
    EXPECT_EQ(APath(uncLong, kWin), unc);
    // Without the flag, relative, or in POSIX notation: no prefix.
    EXPECT_EQ(Str(drive.GetPath(kWin, false)), drive261);
    EXPECT_EQ(Str(drive.GetPath(kPosix, true))[0], '/');
    APath relative(drive);
    relative.SetRelative();
    EXPECT_EQ(Str(relative.GetPath(kWin, true)), drive261);
    // The parent is counted on its own text.
    EXPECT_EQ(Str(drive.GetParentPath(kWin, true)).substr(0, 4), "C:\\a");
    const APath deeper = drive + APathComponent(AString("x"));
    EXPECT_EQ(Str(deeper.GetParentPath(kWin, true)), "\\\\?\\" + drive261);
    // An absolute list of neither shape gets "\\?\UNC\" in front of its whole text.
    const APath rooted(AString(("/" + std::string(300, 'r')).c_str()), kPosix);
    EXPECT_EQ(Str(rooted.GetPath(kWin, true)), "\\\\?\\UNC\\\\" + std::string(300, 'r'));
}

// ---- editing

APath P(const char* text) {
    return APath(AString(text), kWin);
}

APathComponent C(const char* text) {
    return APathComponent(AString(text));
}

TEST(APathEdit, ReadingByIndex) {
    const APath path(AString("/usr/bin"), kPosix);
    EXPECT_EQ(Str(path[kLast].Get()), "bin");
    EXPECT_EQ(Str(path.GetComponent(1).Get()), "usr");
    EXPECT_TRUE(path[3].IsEmpty());
    EXPECT_TRUE(APath().GetComponent(0).IsEmpty());
    EXPECT_TRUE(APath().GetComponent(kLast).IsEmpty());

    const APath abc = P("C:\\a\\b");
    EXPECT_TRUE(abc.GetParent(0).IsEmpty());
    EXPECT_EQ(abc.GetParent(kLast), P("C:\\a"));
    EXPECT_EQ(abc.GetParent(3), APath());
    EXPECT_EQ(abc.Subpath(0, 1), P("C:\\"));
    EXPECT_EQ(abc.Subpath(1, APath::kToLast), P("a\\b"));
    EXPECT_EQ(abc.Subpath(1, 1), P("a"));
    EXPECT_EQ(abc.Subpath(kLast, 5), P("b"));
    EXPECT_EQ(abc.Subpath(2, 0xFFFFFFFEul), P("b")); // index + count passes 32 bits
    EXPECT_TRUE(abc.Subpath(0, 0).IsEmpty());
    EXPECT_TRUE(abc.Subpath(3, 1).IsEmpty());
    EXPECT_EQ(P("C:").Subpath(kLast, 5), P("C:"));
    EXPECT_TRUE(P("C:").Subpath(kLast, 5).IsAbsolute());
}

TEST(APathEdit, DeleteAndSet) {
    APath path = P("C:\\a");
    EXPECT_FALSE(path.DeleteComponent(2));
    EXPECT_TRUE(path.DeleteComponent(0));
    EXPECT_EQ(ComponentsOf(path), (Components{"a"}));
    EXPECT_TRUE(path.IsAbsolute());
    EXPECT_TRUE(path.DeleteComponent(kLast));
    EXPECT_TRUE(path.IsEmpty());
    EXPECT_TRUE(path.IsAbsolute());
    EXPECT_FALSE(path.DeleteComponent(kLast));

    path = P("a\\b\\c");
    APathComponent drive(AString("D:"));
    drive.SetIsWinDrive();
    EXPECT_TRUE(path.SetComponent(1, drive));
    EXPECT_EQ(ComponentsOf(path), (Components{"a", "D:*", "c"}));
    EXPECT_FALSE(path.IsValid());
    EXPECT_FALSE(path.SetComponent(kLast, APathComponent()));
    EXPECT_FALSE(path.SetComponent(3, C("x")));
    EXPECT_TRUE(path.SetComponent(kLast, C("x")));
    EXPECT_EQ(ComponentsOf(path), (Components{"a", "D:*", "x"}));
}

TEST(APathEdit, InsertByIndex) {
    APath path;
    EXPECT_FALSE(path.InsertComponent(1, C("a"), APath::kInsertAfter));
    EXPECT_FALSE(path.InsertComponent(0, APathComponent(), APath::kInsertAfter));
    EXPECT_TRUE(path.InsertComponent(0, C("a"), APath::kInsertBefore));
    EXPECT_TRUE(path.InsertComponent(0, C("b"), APath::kInsertAfter));
    EXPECT_TRUE(path.InsertComponent(0, C("c"), APath::kInsertBefore));
    EXPECT_TRUE(path.InsertComponent(kLast, C("d"), static_cast<APath::InsertPosition>(7)));
    EXPECT_FALSE(path.InsertComponent(4, C("e"), APath::kInsertBefore));
    EXPECT_EQ(ComponentsOf(path), (Components{"c", "a", "b", "d"}));
    EXPECT_FALSE(path.InsertComponent(1, APathComponent(), APath::kInsertAfter));

    APath root;
    root.SetAbsolute();
    EXPECT_FALSE(root.InsertComponent(root.end(), APathComponent(), APath::kInsertAfter));
    EXPECT_TRUE(root.InsertComponent(kLast, APathComponent(), APath::kInsertAfter));
    EXPECT_EQ(root, APath(AString("/"), kPosix));
    EXPECT_FALSE(root.InsertComponent(0, APathComponent(), APath::kInsertAfter));
}

TEST(APathEdit, ReplaceAndSetParent) {
    const APath xy = P("x\\y");
    APath path = P("a\\b\\c");
    EXPECT_FALSE(path.Replace(0, 0, xy));
    EXPECT_FALSE(path.Replace(3, 1, xy));
    EXPECT_TRUE(path.Replace(1, APath::kToLast, xy));
    EXPECT_EQ(path, P("a\\x\\y"));
    EXPECT_TRUE(path.Replace(1, 1, APath()));
    EXPECT_EQ(path, P("a\\y"));
    EXPECT_TRUE(path.Replace(kLast, 0xFFFFFFFFul - 1, xy));
    EXPECT_EQ(path, P("a\\x\\y"));
    EXPECT_TRUE(path.Replace(0, 2, path)); // this same path
    EXPECT_EQ(path, P("a\\x\\y\\y"));

    APath empty;
    empty.SetAbsolute();
    EXPECT_FALSE(empty.Replace(0, 1, xy));
    EXPECT_TRUE(empty.Replace(kLast, 1, xy));
    EXPECT_EQ(ComponentsOf(empty), (Components{"x", "y"}));
    EXPECT_TRUE(empty.IsAbsolute());

    path = P("a\\b\\c");
    EXPECT_TRUE(path.SetParent(2, xy));
    EXPECT_EQ(path, P("x\\y\\c"));
    EXPECT_TRUE(path.SetParent(0, P("C:\\")));
    EXPECT_EQ(ComponentsOf(path), (Components{"C:*", "x", "y", "c"}));
    EXPECT_FALSE(path.IsAbsolute());
    EXPECT_FALSE(path.SetParent(4, xy));
    path = P("c");
    EXPECT_TRUE(path.SetParent(kLast, xy));
    EXPECT_EQ(path, P("x\\y\\c"));
    EXPECT_TRUE(path.SetParent(kLast, path));
    EXPECT_EQ(path, P("x\\y\\c\\c"));
    APath none;
    EXPECT_FALSE(none.SetParent(0, xy));
    EXPECT_TRUE(none.SetParent(kLast, xy));
    EXPECT_EQ(none, xy);
}

TEST(APathEdit, SetParentPathAndAppend) {
    APath path = P("a\\file.txt");
    EXPECT_TRUE(path.SetParentPath(AString("/usr/bin"), kPosix));
    EXPECT_EQ(path, APath(AString("/usr/bin/file.txt"), kPosix));
    EXPECT_FALSE(path.SetParentPath(AString("x"), static_cast<APath::PathType>(9)));
    EXPECT_EQ(path, APath(AString("/usr/bin/file.txt"), kPosix));
    EXPECT_TRUE(path.SetParentPath(AString(""), kWin));
    EXPECT_EQ(path, P("file.txt"));
    APath empty;
    EXPECT_TRUE(empty.SetParentPath(AString("C:\\d"), kWin));
    EXPECT_EQ(empty, P("C:\\d"));

    path = P("C:\\a");
    path.Append(path);
    EXPECT_EQ(ComponentsOf(path), (Components{"C:*", "a", "C:*", "a"}));
    path = P("a");
    path += C("b");
    path += APathComponent();
    path += APath(AString("/"), kPosix);
    EXPECT_EQ(ComponentsOf(path), (Components{"a", "b", ""}));
    EXPECT_EQ(P("a") + APathComponent(), P("a"));
    EXPECT_EQ(P("C:\\a") + P("b\\c"), P("C:\\a\\b\\c"));
}

TEST(APathEdit, IteratorForms) {
    APath path = P("a\\b\\c");
    EXPECT_EQ(path.GetParent(path.rbegin()), P("a\\b"));
    EXPECT_EQ(path.Subpath(path.begin() + 1, 1), P("b"));
    EXPECT_EQ(path.Subpath(path.rbegin() + 1, APath::kToLast), P("b\\c"));
    EXPECT_TRUE(path.SetComponent(path.rbegin(), C("z")));
    EXPECT_TRUE(path.InsertComponent(path.end(), C("e"), APath::kInsertBefore));
    EXPECT_TRUE(path.InsertComponent(path.rend(), C("s"), APath::kInsertAfter));
    EXPECT_TRUE(path.InsertComponent(path.rbegin(), C("y"), APath::kInsertBefore));
    EXPECT_EQ(path, P("s\\a\\b\\z\\y\\e"));
    EXPECT_TRUE(path.DeleteComponent(path.begin()));
    EXPECT_TRUE(path.Replace(path.rbegin(), 1, P("f")));
    EXPECT_TRUE(path.SetParent(path.begin() + 2, P("p")));
    EXPECT_EQ(path, P("p\\z\\y\\f"));
    APath empty;
    EXPECT_TRUE(empty.InsertComponent(empty.rend(), C("a"), APath::kInsertAfter));
    EXPECT_EQ(empty, P("a"));
}

// Every iterator form refuses end()/rend() (but InsertComponent) and the iterators of an equal
// path, and leaves the path as it was.
template <typename Iterator> void ExpectRefused(APath& path, const Iterator& it, bool atEnd) {
    const APath before = path;
    EXPECT_TRUE(path.GetParent(it).IsEmpty());
    EXPECT_TRUE(path.Subpath(it, 1).IsEmpty());
    EXPECT_FALSE(path.DeleteComponent(it));
    EXPECT_FALSE(path.SetComponent(it, C("x")));
    EXPECT_FALSE(path.Replace(it, 1, P("x")));
    EXPECT_FALSE(path.SetParent(it, P("x")));
    EXPECT_NE(path.InsertComponent(it, C("x"), APath::kInsertAfter), !atEnd);
    if (!atEnd) {
        EXPECT_EQ(path, before);
    }
}

TEST(APathEdit, EndAndForeignIteratorsAreRefused) {
    APath path = P("a\\b");
    const APath twin = path;
    ExpectRefused(path, twin.begin(), false);
    ExpectRefused(path, twin.rbegin(), false);
    ExpectRefused(path, twin.end() - 1, false);
    ExpectRefused(path, APath().begin(), false);
    ExpectRefused(path, path.end(), true);
    ExpectRefused(path, path.rend(), true);
    EXPECT_EQ(ComponentsOf(path), (Components{"x", "a", "b", "x"}));
}

// An allocate procedure that fails once, for the next block.
bool gFailNext = false;
void* FailOnce(unsigned long long size) {
    if (gFailNext) {
        gFailNext = false;
        return nullptr;
    }
    return ::operator new(static_cast<std::size_t>(size));
}
void FreeBlock(void* block) {
    ::operator delete(block);
}

TEST(APathEdit, PathWithoutImplementationObjectIsSafe) {
    AAllocator::RegisterMemoryProcs(FailOnce, FreeBlock);
    gFailNext = true;
    APath none;
    EXPECT_TRUE(none.IsEmpty());
    EXPECT_FALSE(none.SetPath(AString("a"), kWin));
    EXPECT_FALSE(none.InsertComponent(kLast, C("a"), APath::kInsertAfter));
    EXPECT_FALSE(none.Replace(kLast, 1, P("a")));
    EXPECT_FALSE(none.DeleteComponent(none.begin()));
    none.Append(P("a")).SetAbsolute();
    EXPECT_EQ(none, APath());
    EXPECT_EQ(Str(none.GetPath(kWin, true)), "");
    EXPECT_FALSE(P("a").DeleteComponent(none.begin()));
    none = P("C:\\a");
    EXPECT_EQ(none, P("C:\\a"));
    AAllocator::RegisterMemoryProcs(nullptr, nullptr);
}

} // namespace
