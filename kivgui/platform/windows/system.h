#pragma once

// The one way to the system's header: without the macros `min` and `max`, and without the parts
// that define names such as `small` and `interface`.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
