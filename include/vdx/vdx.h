// All families of the library.
#pragma once

#include <vdx/address.h>
#include <vdx/characters.h>
#include <vdx/code_page.h>
#include <vdx/codecs.h>
#include <vdx/directories.h>
#include <vdx/dynamic_module.h>
#include <vdx/find_file.h>
#include <vdx/host_info.h>
#include <vdx/locks.h>
#include <vdx/memory2d.h>
#include <vdx/node_alloc.h>
#include <vdx/packet.h>
#include <vdx/path.h>
#include <vdx/platform.h>
#include <vdx/pool.h>
#include <vdx/rounding.h>
#include <vdx/share_pointer.h>
#include <vdx/share_string.h>
#include <vdx/socket.h>
#include <vdx/time.h>
#include <vdx/trace.h>
#include <vdx/warnings.h>
#include <vdx/words.h>
