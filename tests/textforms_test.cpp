// Tests of the UTF-8 forms of paths, components and entries.
#include <zelk/apathcomponent.h>
#include <zelk/fileutils.h>

#include "testsupport.h"

#include <string>

using namespace vorlan::zelk;

namespace {

std::string Bytes(const AString8& text) {
    return std::string(text.c_str(), static_cast<std::size_t>(text.size()));
}

// The path of a UTF-8 text, parsed over a former path.
APath PathOfUTF8(const std::string& text) {
    APath path = zelktest::WinPath("D:\\former");
    CorePathUtils::UTF8ToAPath(AString8(text.c_str()), path);
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

// UTF-8 text in, UTF-8 text out through a path: what comes back in native notation.
TEST(TextFormsTest, PathRoundTrips) {
    const struct {
        std::string in;
        std::string out;
        bool absolute;
    } rows[] = {
        {"", "", false},
        {"C:/a//b/", "C:\\a\\b", true},
        {"C:a", "C:a", false},
        {"//server/share/x", "\\\\server\\share\\x", true},
        {"a/b", "a\\b", false},
        {"\xC3\xA4\\\xE6\x97\xA5\\\xF0\x9F\x98\x80", "\xC3\xA4\\\xE6\x97\xA5\\\xF0\x9F\x98\x80",
         false},
        {LongPath(), LongPath(), true}, // long paths have no prefix
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.in.substr(0, 40));
        const APath path = PathOfUTF8(row.in);
        EXPECT_EQ(path.IsAbsolute(), row.absolute);
        EXPECT_EQ(UTF8OfPath(path), row.out);
        // What comes out parses back to the same path.
        EXPECT_EQ(PathOfUTF8(row.out), path);
    }
}

// A separator is stored as it stands, and makes the component unfit.
TEST(TextFormsTest, Components) {
    APathComponent component; // each text replaces the one before
    for (const char* text : {"name.\xC3\xA9xt", "a\\b", ""}) {
        SCOPED_TRACE(text);
        CorePathUtils::UTF8ToAPathComponent(AString8(text), component);
        EXPECT_EQ(component.IsValid(), std::string(text) == "name.\xC3\xA9xt");
        AString8 out("former");
        CorePathUtils::APathComponentToUTF8(component, out);
        EXPECT_EQ(Bytes(out), text);
    }
}

TEST(TextFormsTest, Files) {
    zelktest::RecordingFile file;
    CoreFileUtils::UTF8ToAFile(AString8("C:/dir/\xE2\x82\xAC.txt"), file);
    EXPECT_EQ(file.fChanges.size(), 1u);
    AString8 out;
    CoreFileUtils::AFileToUTF8(file, out);
    EXPECT_EQ(Bytes(out), "C:\\dir\\\xE2\x82\xAC.txt");

    // On an object with a path, the empty text empties it and tells so.
    CoreFileUtils::UTF8ToAFile(AString8(), file);
    EXPECT_EQ(file.fChanges.size(), 2u);
    CoreFileUtils::AFileToUTF8(file, out);
    EXPECT_EQ(Bytes(out), "");

    // On an AFile with no implementation object, the empty text makes none and tells nothing.
    zelktest::RecordingFile none;
    CoreFileUtils::UTF8ToAFile(AString8(), none);
    EXPECT_TRUE(none.fChanges.empty());
    EXPECT_EQ(none, AFile());

    // A long path comes out without the prefix its rendered text has.
    CoreFileUtils::AFileToUTF8(AFile(AString(LongPath().c_str())), out);
    EXPECT_EQ(Bytes(out), LongPath());
}

TEST(TextFormsTest, FileURLsDoNothing) {
    AString8 out("kept");
    CorePathUtils::APathToFileURL(PathOfUTF8("C:\\a"), out);
    EXPECT_EQ(Bytes(out), "kept");
    APath target = PathOfUTF8("D:\\b\\c");
    const APath before = target;
    CorePathUtils::FileURLToAPath(AString8("file:///C:/a"), target);
    CorePathUtils::FileURLToAPath(AString8(), target);
    EXPECT_EQ(target, before);
}

} // namespace
