#pragma once

// KIV_EXPORT marks what a host program may link to; everything else stays hidden in the module.
// The build defines KIV_BUILDING while it compiles the module and KIV_STATIC for a static library.
#if defined(KIV_STATIC)
#define KIV_EXPORT
#elif defined(_WIN32)
#if defined(KIV_BUILDING)
#define KIV_EXPORT __declspec(dllexport)
#else
#define KIV_EXPORT __declspec(dllimport)
#endif
#else
#define KIV_EXPORT __attribute__((visibility("default")))
#endif
