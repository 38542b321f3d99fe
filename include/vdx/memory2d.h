// Copying rectangles between two-dimensional areas of memory.
#pragma once

#include <vdx/export.h>

// Example: the left upper 64 x 48 pixels of four bytes out of an image.
//   vdxMemcpy2D(part.data(), 64 * 4, image.data(), nImagePitch, 64 * 4, 48);
//
// A pitch is the distance in bytes from a row to the next; a negative one goes
// upwards. All widths and horizontal places are bytes. The areas may overlap within
// one surface of one pitch: the result is that of a copy through a third place.
//
// Thread-safety: all functions.

// Copies nRows rows of nWidth bytes. Nothing happens for a width or a count below 1.
// Requires: the rows lie within both areas. Not checked.
VDX_API void vdxMemcpy2D(void* pTarget, int nTargetPitch, const void* pSource, int nSourcePitch, int nWidth,
                         int nRows);

// Copies the rectangle of nWidth bytes and nRows rows that begins at (nSourceX,
// nSourceY) of the source to (nTargetX, nTargetY) of the target, without what lies
// outside of either surface; places may be negative. True when anything was copied.
// Requires: the surfaces are as large as stated. Not checked.
VDX_API bool vdxClipMemcpy2D(void* pTarget, int nTargetPitch, int nTargetWidth, int nTargetRows, int nTargetX,
                             int nTargetY, const void* pSource, int nSourcePitch, int nSourceWidth,
                             int nSourceRows, int nSourceX, int nSourceY, int nWidth, int nRows);
