// The interface message of macOS; only its size matters.
#pragma once

struct if_msghdr {
    unsigned short ifm_msglen;
    unsigned char ifm_version;
    unsigned char ifm_type;
    char ifm_rest[108];
};
