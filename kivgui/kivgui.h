#pragma once

// The base layer: shared values, conversions, files, and the services that need an operating
// system. Namespace KivGuiBase. What the library itself needs little of is in kivgui/host/.

#include "kivgui/ansi_str.h"
#include "kivgui/blob.h"
#include "kivgui/charset.h"
#include "kivgui/convert.h"
#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/file.h"
#include "kivgui/memory.h"
#include "kivgui/memory_file.h"
#include "kivgui/random.h"
#include "kivgui/shared_array.h"
#include "kivgui/skip_list_map.h"
#include "kivgui/stream.h"
#include "kivgui/token_iterator.h"
