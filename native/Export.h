#ifndef FERROLINK_NATIVE_EXPORT_H
#define FERROLINK_NATIVE_EXPORT_H

/// Marks a symbol that other libraries and hosts may bind to. Everything is built hidden. A symbol
/// leaves the library only if it has this mark and the library's version script names it.
#define FERROLINK_EXPORT __attribute__((visibility("default")))

/// Keeps a member of an exported class inside the library.
#define FERROLINK_LOCAL __attribute__((visibility("hidden")))

#endif
