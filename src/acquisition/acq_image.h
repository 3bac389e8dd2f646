// One acquired image.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/exception.h"
#include "base/pixel_coding.h"

// The image owns its bytes through a shared buffer, so copies of the handle
// and views of it stay valid as long as anyone holds the image.
class vxAcqImage {
 public:
  class Errors : public vxException {
   public:
    using vxException::vxException;
  };
  class NotSupported : public vxException {
   public:
    using vxException::vxException;
  };

  // Throws Errors when the buffer is shorter than the geometry needs.
  vxAcqImage(std::shared_ptr<const std::vector<uint8_t>> data, uint32_t width, uint32_t height,
             vxPixelCoding coding, std::chrono::steady_clock::time_point timestamp = {});

  uint32_t width() const { return m_width; }
  uint32_t height() const { return m_height; }
  vxPixelCoding coding() const { return m_coding; }
  size_t stride() const { return m_stride; }
  std::chrono::steady_clock::time_point timestamp() const { return m_timestamp; }
  const uint8_t* data() const { return m_data->data(); }
  size_t byteCount() const { return m_stride * m_height; }
  vxImageView view() const { return {data(), m_width, m_height, m_stride, m_coding}; }

  // The grey level at a pixel of a grey image (16-bit codings big-endian as
  // on the wire). NotSupported for colour codings, Errors outside the image.
  uint32_t greyValue(uint32_t x, uint32_t y) const;

  // A copy of a region. x and width must fall on whole pixel groups of the
  // coding (4 pixels for YUV 4:1:1, 2 for YUV 4:2:2); Errors otherwise or
  // when the region leaves the image.
  std::shared_ptr<vxAcqImage> cropped(uint32_t x, uint32_t y, uint32_t width,
                                      uint32_t height) const;

  // Pixels per group of whole bytes in a coding.
  static uint32_t pixelGroup(vxPixelCoding coding);
  static size_t rowBytes(vxPixelCoding coding, uint32_t width);

 private:
  std::shared_ptr<const std::vector<uint8_t>> m_data;
  uint32_t m_width, m_height;
  vxPixelCoding m_coding;
  size_t m_stride;
  std::chrono::steady_clock::time_point m_timestamp;
};
