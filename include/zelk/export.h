// The export annotation of the zelk shared library.
#ifndef ZELK_EXPORT_H
#define ZELK_EXPORT_H

#if defined(_WIN32)
#if defined(ZELK_BUILDING_LIBRARY)
#define ZELK_API __declspec(dllexport)
#else
#define ZELK_API __declspec(dllimport)
#endif
#else
#define ZELK_API __attribute__((visibility("default")))
#endif

#endif // ZELK_EXPORT_H
