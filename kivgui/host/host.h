#pragma once

// What hosts have from the base library beside strings, files and maps. README.md in this folder
// says what each of it does here.

#include "kivgui/host/event.h"
#include "kivgui/host/lock.h"
#include "kivgui/host/val.h"
