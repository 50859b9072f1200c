// posixhost: the drive table of zelk on hosts without Win32 (Linux and other POSIX systems).
//
// On such hosts zelk takes Windows path text as it does on Windows, and a table maps drive
// letters to host directories. By default Z: is the host root, so /tmp/a is Z:\tmp\a and every
// host path has a drive form; the current directory and the temporary directory are reported in
// that form. Other letters are unmapped until a program maps them here: a path on an unmapped
// drive fails as a missing drive does on Windows. A drive can carry a remote name such as
// \\server\share, through which UNC paths reach the same directory. Each drive keeps its own
// current directory, as X:name and changing the current drive rely on.
//
// Names on the host are bytes, usually UTF-8. zelk shows valid UTF-8 as UTF-16, a byte that is
// not part of valid UTF-8 as the lone surrogate U+DC80..U+DCFF (U+DC00 plus the byte), and writes
// any other lone surrogate in the generalised UTF-8 form, so every listed name can be used again.
//
// This header is not available on Windows, where the system's own drives apply.
#ifndef ZELK_POSIXHOST_H
#define ZELK_POSIXHOST_H

#include <zelk/export.h>

#if defined(_WIN32)
#error "zelk/posixhost.h is for hosts without Win32"
#endif

namespace vorlan {
namespace zelk {
namespace posixhost {

// Maps the drive letter (A to Z, either case) to the host directory hostDirectory, an absolute
// path of an existing directory in the host's bytes; symbolic links in it are resolved once, now.
// remoteName, when not null, is UTF-8 text of the form \\server\share (either separator), which
// then leads to the same directory. A letter that was mapped before is mapped anew, and its
// current directory becomes its root. False, with nothing changed, for any other letter, a
// relative or missing directory, or a malformed remote name.
ZELK_API bool MapDrive(char letter, const char* hostDirectory, const char* remoteName = nullptr);

// Removes the letter from the table. False when it was not mapped or is no letter. When it was
// the current drive, the current directory stays where it is on the host and is reported through
// another drive that holds it, if one does.
ZELK_API bool UnmapDrive(char letter);

// The object system through which shell links are read, which Windows programs initialise with
// CoInitializeEx. As there, a thread that resolves links initialises it first, zelk never does,
// and each successful call wants one UninitializeObjects on the same thread. While a thread holds
// the multithreaded form, threads that never initialised read links as well. False when the
// thread already holds the other form.
ZELK_API bool InitializeObjects(bool multithreaded = false);
ZELK_API void UninitializeObjects();

// Showing an entry in the file manager.
// CoreFileUtils::ShowFileLocation asks the desktop's file manager over the session bus to show
// the entry selected (org.freedesktop.FileManager1.ShowItems, through dbus-send or gdbus), and
// where none answers, opens the entry's parent directory with xdg-open. The entry's place on the
// host comes from the drive table; it need not exist. The programs start in a process of their
// own: the call returns as soon as the first one has started, never waits for the file manager,
// and leaves no child behind for the program to reap. Names are passed as arguments, never
// through a shell. ShowFileLocation is true when a program started, false when none could.
//
// SetShowLauncher puts one command in place of that request: command holds the program (a path,
// or a name looked up on PATH) and its leading arguments, up to a null entry. Each start adds two
// arguments: the entry's file:// URI (every byte but letters, digits, -._~ and / percent-encoded)
// and its host path as it stands. A null command, or one with no words, restores the default.
// False, with nothing changed, when the program's name is empty. Not to be called while another
// thread shows an entry.
ZELK_API bool SetShowLauncher(const char* const* command);

} // namespace posixhost
} // namespace zelk
} // namespace vorlan

#endif // ZELK_POSIXHOST_H
