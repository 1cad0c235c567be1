#ifndef ZELCONFIG_EXPORT_H
#define ZELCONFIG_EXPORT_H

// The library is built with hidden visibility; only what carries this macro is
// part of its ABI.
#if defined(__GNUC__) || defined(__clang__)
#define ZELCONFIG_API __attribute__((visibility("default")))
#else
#define ZELCONFIG_API
#endif

#endif
