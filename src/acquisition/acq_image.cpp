// One acquired image.
#include "acquisition/acq_image.h"

#include <cstring>

#include "base/format.h"

uint32_t vxAcqImage::pixelGroup(vxPixelCoding coding) {
  switch (coding) {
    case vxPixelCoding::YUV411:
      return 4;
    case vxPixelCoding::YUV422:
      return 2;
    default:
      return 1;
  }
}

size_t vxAcqImage::rowBytes(vxPixelCoding coding, uint32_t width) {
  return (size_t(width) * vxBitsPerPixel(coding) + 7) / 8;
}

vxAcqImage::vxAcqImage(std::shared_ptr<const std::vector<uint8_t>> data, uint32_t width,
                       uint32_t height, vxPixelCoding coding,
                       std::chrono::steady_clock::time_point timestamp)
    : m_data(std::move(data)),
      m_width(width),
      m_height(height),
      m_coding(coding),
      m_stride(rowBytes(coding, width)),
      m_timestamp(timestamp) {
  if (!m_data) throw Errors("An image needs a buffer.");
  if (m_data->size() < m_stride * m_height)
    throw Errors(vxFormat("An image of %ux%u needs %zu bytes; the buffer holds %zu.", width, height,
                          m_stride * m_height, m_data->size()));
}

uint32_t vxAcqImage::greyValue(uint32_t x, uint32_t y) const {
  if (x >= m_width || y >= m_height)
    throw Errors(vxFormat("Pixel (%u, %u) lies outside the %ux%u image.", x, y, m_width, m_height));
  const uint8_t* row = data() + size_t(y) * m_stride;
  switch (m_coding) {
    case vxPixelCoding::Mono8:
    case vxPixelCoding::Raw8:
      return row[x];
    case vxPixelCoding::Mono16:
    case vxPixelCoding::SignedMono16:
    case vxPixelCoding::Raw16:
      return (uint32_t(row[2 * x]) << 8) | row[2 * x + 1];
    default:
      throw NotSupported("The image is not a grey image.");
  }
}

std::shared_ptr<vxAcqImage> vxAcqImage::cropped(uint32_t x, uint32_t y, uint32_t width,
                                                uint32_t height) const {
  const uint32_t group = pixelGroup(m_coding);
  if (width == 0 || height == 0 || x + width > m_width || y + height > m_height || x + width < x ||
      y + height < y)
    throw Errors(vxFormat("The region %u,%u %ux%u does not lie inside the %ux%u image.", x, y,
                          width, height, m_width, m_height));
  if (x % group || width % group)
    throw Errors(
        vxFormat("The region's left edge and width must be multiples of %u pixels.", group));
  const size_t offset = rowBytes(m_coding, x);
  const size_t bytes = rowBytes(m_coding, width);
  auto out = std::make_shared<std::vector<uint8_t>>(bytes * height);
  for (uint32_t r = 0; r < height; ++r)
    std::memcpy(out->data() + size_t(r) * bytes, data() + size_t(y + r) * m_stride + offset, bytes);
  return std::make_shared<vxAcqImage>(std::move(out), width, height, m_coding, m_timestamp);
}
