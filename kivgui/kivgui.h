#pragma once

// The platform layer: shared values, conversions, files, and the services that need an operating
// system. Namespace KivGuiBase.

#include "kivgui/ansi_str.h"
#include "kivgui/ansi_sub_str.h"
#include "kivgui/blob.h"
#include "kivgui/charset.h"
#include "kivgui/clock.h"
#include "kivgui/convert.h"
#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/event.h"
#include "kivgui/file.h"
#include "kivgui/kv_map.h"
#include "kivgui/lock.h"
#include "kivgui/memory_file.h"
#include "kivgui/particle.h"
#include "kivgui/random.h"
#include "kivgui/shared_array.h"
#include "kivgui/skip_list_map.h"
#include "kivgui/stream.h"
#include "kivgui/token_iterator.h"
#include "kivgui/trace.h"
#include "kivgui/val.h"
