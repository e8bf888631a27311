// What a shared library shows to the outside. Everything is built hidden; a declaration that
// carries VESKA_API is visible in libveska.so.

#ifndef VESKA_API_EXPORT_H_
#define VESKA_API_EXPORT_H_

#ifndef VESKA_API
#define VESKA_API __attribute__((visibility("default")))
#endif

#endif  // VESKA_API_EXPORT_H_
