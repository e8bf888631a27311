// All tables of an index, and the contents of its files.

#ifndef VESKA_STORAGE_STORAGE_H_
#define VESKA_STORAGE_STORAGE_H_

#include "storage/filecontents.h"  // IWYU pragma: export
#include "storage/filememory.h"    // IWYU pragma: export
#include "storage/filestorage.h"   // IWYU pragma: export
#include "storage/hashentries.h"   // IWYU pragma: export
#include "storage/linkstorage.h"   // IWYU pragma: export
#include "storage/textstorage.h"   // IWYU pragma: export

#endif  // VESKA_STORAGE_STORAGE_H_
