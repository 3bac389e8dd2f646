// Pictures for the live display: any IIDC coding to RGB at the display's size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/pixel_coding.h"

// The largest size of an image's aspect ratio that fits in maxWidth by
// maxHeight (at least 1 by 1).
void vxFitDisplaySize(uint32_t width, uint32_t height, uint32_t maxWidth, uint32_t maxHeight,
                      uint32_t& fitWidth, uint32_t& fitHeight);

// Draws the image into dstWidth by dstHeight RGB byte triples, rows dstStride
// bytes apart, by nearest sampling: only the source rows and pixels that show
// are converted, so a large image costs little more than the picture. Colour
// codings go through vxGreyConverter's RGB rule; Bayer mosaics (RGGB, as the
// cameras deliver them) are demosaiced per 2 by 2 tile: red, the mean of the
// two greens, blue. Throws what vxGreyConverter::check throws.
void vxDrawDisplayPicture(const vxImageView& image, uint32_t dstWidth, uint32_t dstHeight,
                          uint8_t* dst, size_t dstStride);
