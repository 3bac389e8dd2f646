// Writing an acquired image to a file: PGM and PPM always, other formats through Qt when built in.
#pragma once

#include <string>

#include "acquisition/acq_image.h"

// Whether an image can be written to this path, judged by its extension;
// the reason goes to *why when it cannot. Checked before acquiring so a
// long run does not end in a file that cannot be written.
bool vxCanWriteImageFile(const std::string& path, std::string* why);

// Writes the image as its display shows it: 8-bit grey for mono and raw
// codings, 8-bit RGB for colour ones. ".pgm" always writes grey and ".ppm"
// RGB; other extensions go through Qt's image writer. False with the reason
// in *error when the file cannot be written.
bool vxWriteImageFile(const std::string& path, const vxAcqImage& image, std::string* error);
