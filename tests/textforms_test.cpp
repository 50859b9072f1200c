// Tests of the UTF-8 forms of paths, components and entries.
#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>
#include <zelk/fileutils.h>

#include <gtest/gtest.h>

#include <string>

using vorlan::zelk::AFile;
using vorlan::zelk::APath;
using vorlan::zelk::APathComponent;
using vorlan::zelk::AString;
using vorlan::zelk::AString8;
using vorlan::zelk::CoreFileUtils;
using vorlan::zelk::CorePathUtils;

namespace {

std::string Bytes(const AString8& text) {
    return std::string(text.c_str(), static_cast<std::size_t>(text.size()));
}

APath PathOfUTF8(const char* text) {
    APath path;
    CorePathUtils::UTF8ToAPath(AString8(text), path);
    return path;
}

std::string UTF8OfPath(const APath& path) {
    AString8 out("former");
    CorePathUtils::APathToUTF8(path, out);
    return Bytes(out);
}

// An absolute drive path of more than 260 characters.
std::string LongPath() {
    std::string text = "C:";
    for (int i = 0; i < 30; ++i) {
        text += "\\directory";
    }
    return text;
}

// Records every change of the path.
class CountingFile : public AFile {
public:
    int fChanges = 0;

protected:
    void PathChanged(const AString&) override { ++fChanges; }
};

// UTF-8 text in, UTF-8 text out through a path: what comes back in native notation.
struct RoundTripRow {
    const char* in;
    const char* out;
    bool absolute;
};

const RoundTripRow kRoundTrips[] = {
    {"C:\\a", "C:\\a", true},
    {"C:/a", "C:\\a", true},
    {"C:/a//b/", "C:\\a\\b", true},
    {"C:a", "C:a", false},
    {"\\\\server\\share\\x", "\\\\server\\share\\x", true},
    {"//server/share/x", "\\\\server\\share\\x", true},
    {"a/b", "a\\b", false},
    {"\xC3\xA4\\\xE6\x97\xA5\\\xF0\x9F\x98\x80", "\xC3\xA4\\\xE6\x97\xA5\\\xF0\x9F\x98\x80", false},
    {"C:\\Gr\xC3\xBC\xC3\x9F"
     "e x",
     "C:\\Gr\xC3\xBC\xC3\x9F"
     "e x",
     true},
};

TEST(TextFormsTest, PathRoundTrips) {
    for (const RoundTripRow& row : kRoundTrips) {
        SCOPED_TRACE(row.in);
        const APath path = PathOfUTF8(row.in);
        EXPECT_EQ(path.IsAbsolute(), row.absolute);
        EXPECT_EQ(UTF8OfPath(path), row.out);
        // What comes out parses back to the same path.
        EXPECT_EQ(PathOfUTF8(row.out), path);
    }
}

TEST(TextFormsTest, EmptyTextGivesEmptyRelativePath) {
    APath path = PathOfUTF8("C:\\a");
    CorePathUtils::UTF8ToAPath(AString8(), path);
    EXPECT_TRUE(path.IsEmpty());
    EXPECT_TRUE(path.IsRelative());
    EXPECT_EQ(UTF8OfPath(path), "");
}

TEST(TextFormsTest, LongPathsHaveNoPrefix) {
    const std::string text = LongPath();
    ASSERT_GT(text.size(), 260u);
    EXPECT_EQ(UTF8OfPath(PathOfUTF8(text.c_str())), text);

    AFile file(AString(text.c_str()));
    ASSERT_EQ(file.GetPath(true).IndexOf(AString("\\\\?\\")), 0u) << "the rendered text is long";
    AString8 out("former");
    CoreFileUtils::AFileToUTF8(file, out);
    EXPECT_EQ(Bytes(out), text);
}

TEST(TextFormsTest, Components) {
    APathComponent component;
    CorePathUtils::UTF8ToAPathComponent(AString8("name.\xC3\xA9xt"), component);
    EXPECT_TRUE(component.IsValid());
    AString8 out("former");
    CorePathUtils::APathComponentToUTF8(component, out);
    EXPECT_EQ(Bytes(out), "name.\xC3\xA9xt");

    // A separator is stored as it stands, and makes the component unfit.
    CorePathUtils::UTF8ToAPathComponent(AString8("a\\b"), component);
    EXPECT_FALSE(component.IsValid());
    CorePathUtils::APathComponentToUTF8(component, out);
    EXPECT_EQ(Bytes(out), "a\\b");

    CorePathUtils::UTF8ToAPathComponent(AString8(), component);
    CorePathUtils::APathComponentToUTF8(component, out);
    EXPECT_EQ(Bytes(out), "");
}

TEST(TextFormsTest, Files) {
    CountingFile file;
    CoreFileUtils::UTF8ToAFile(AString8("C:/dir/\xE2\x82\xAC.txt"), file);
    EXPECT_EQ(file.fChanges, 1);
    AString8 out;
    CoreFileUtils::AFileToUTF8(file, out);
    EXPECT_EQ(Bytes(out), "C:\\dir\\\xE2\x82\xAC.txt");

    // On an object with a path, the empty text empties it and tells so.
    CoreFileUtils::UTF8ToAFile(AString8(), file);
    EXPECT_EQ(file.fChanges, 2);
    EXPECT_FALSE(file.HasPath());
    CoreFileUtils::AFileToUTF8(file, out);
    EXPECT_EQ(Bytes(out), "");

    // On an AFile with no implementation object, the empty text makes none and tells nothing.
    CountingFile none;
    CoreFileUtils::UTF8ToAFile(AString8(), none);
    EXPECT_EQ(none.fChanges, 0);
    EXPECT_EQ(none, AFile());
}

TEST(TextFormsTest, FileURLsDoNothing) {
    const APath path = PathOfUTF8("C:\\a");
    AString8 out("kept");
    CorePathUtils::APathToFileURL(path, out);
    EXPECT_EQ(Bytes(out), "kept");

    APath target = PathOfUTF8("D:\\b\\c");
    const APath before = target;
    CorePathUtils::FileURLToAPath(AString8("file:///C:/a"), target);
    EXPECT_EQ(target, before);
    CorePathUtils::FileURLToAPath(AString8(), target);
    EXPECT_EQ(target, before);
}

} // namespace
