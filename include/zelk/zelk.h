// zelk: every public header of the library.
#ifndef ZELK_ZELK_H
#define ZELK_ZELK_H

#include <zelk/aallocator.h>
#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/apathiterator.h>
#include <zelk/apathreverseiterator.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>
#include <zelk/fileutils.h>

#endif // ZELK_ZELK_H
