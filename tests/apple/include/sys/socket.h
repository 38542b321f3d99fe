// What macOS declares here and Linux does not.
#pragma once

#include_next <sys/socket.h>

#define SO_NOSIGPIPE 0x1022
#define AF_LINK 18
