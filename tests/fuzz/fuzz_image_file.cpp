// Fuzzes the image writers with images of any size, coding and contents: the
// PGM and PPM files pralix acquire --save writes.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/acq_image.h"
#include "cli/image_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 5) return 0;
  // Small images keep each run quick: 1 to 64 pixels each way.
  const uint32_t width = 1 + data[0] % 64;
  const uint32_t height = 1 + data[1] % 64;
  const auto coding = static_cast<vxPixelCoding>(data[2] % kPixelCodingCount);
  const bool colour = data[3] & 1;
  auto pixels = std::make_shared<const std::vector<uint8_t>>(data + 4, data + size);
  static const std::string folder = std::filesystem::temp_directory_path() /
                                    ("pralix-fuzz-image-" + std::to_string(::getpid()));
  static const bool made = std::filesystem::create_directories(folder) || true;
  (void)made;
  try {
    const vxAcqImage image(pixels, width, height, coding);
    std::string error;
    const std::string path = folder + (colour ? "/image.ppm" : "/image.pgm");
    if (!vxWriteImageFile(path, image, &error) && error.empty()) __builtin_trap();
  } catch (const vxException&) {
    // A buffer too short for its geometry, or a region the coding cannot
    // take, is refused with a message.
  }
  return 0;
}
