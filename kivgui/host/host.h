#pragma once

// What the base library offers hosts besides strings, files and maps. README.md in this folder says
// what each item does here.

#include "kivgui/host/event.h"
#include "kivgui/host/lock.h"
#include "kivgui/host/val.h"
