# The library's units: the four layers in source/, and the face of the platform layer that the
# build host calls for (the Win32 calls on Windows, our POSIX stand-in elsewhere).
set(ZELK_SOURCES
  # text
  source/aallocator.cpp
  source/astring8.cpp
  source/astring.cpp
  source/astringconvert.cpp
  # paths
  source/apathcomponent.cpp
  source/apathiterator.cpp
  source/apathreverseiterator.cpp
  source/zassert.cpp
  source/apath.cpp
  # utilities
  source/corepathutils.cpp
  source/corefileutils.cpp
  source/winfileutils.cpp
  # files
  source/afile.cpp
  source/afileimpl.cpp
  source/platform/afileimplw.cpp
  source/platform/localeguard.cpp
)

# The platform layer on its own, which its tests build in as well.
if(WIN32)
  set(ZELK_PLATFORM_SOURCES
    source/platform/win/calls.cpp
    source/platform/win/constants.cpp
    source/platform/win/tempnames.cpp
    source/platform/win/shell.cpp
    source/platform/win/walk.cpp
  )
  set(ZELK_PLATFORM_LIBRARIES mpr shlwapi ntdll)
  list(APPEND ZELK_PLATFORM_LIBRARIES ole32 uuid)
  list(APPEND ZELK_PLATFORM_LIBRARIES shell32)
else()
  set(ZELK_PLATFORM_SOURCES
    source/platform/posix/hostdrives.cpp
    source/platform/posix/hostfullpath.cpp
    source/platform/posix/hostfiles.cpp
    source/platform/posix/hostshell.cpp
    source/platform/posix/hosttext.cpp
    source/platform/posix/hostvolumes.cpp
    source/platform/posix/hosttempnames.cpp
    source/platform/posix/hostwalk.cpp
    source/platform/posix/hostfaults.cpp
  )
  set(ZELK_PLATFORM_LIBRARIES)
endif()
# The object system and shell links belong to the library alone: their calls are exported, so
# that a test reaches the very object system the library uses.
if(WIN32)
  list(APPEND ZELK_SOURCES source/platform/win/objects.cpp)
else()
  list(APPEND ZELK_SOURCES source/platform/posix/hostobjects.cpp source/platform/posix/hostlink.cpp)
endif()
list(TRANSFORM ZELK_PLATFORM_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/../)
list(TRANSFORM ZELK_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/../)
list(APPEND ZELK_SOURCES ${ZELK_PLATFORM_SOURCES})
