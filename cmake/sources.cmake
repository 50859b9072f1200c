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
)

if(WIN32)
  list(APPEND ZELK_SOURCES
  )
  set(ZELK_PLATFORM_LIBRARIES)
else()
  list(APPEND ZELK_SOURCES
  )
  set(ZELK_PLATFORM_LIBRARIES)
endif()
list(TRANSFORM ZELK_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/../)
