// Video formats: the DCAM formats, modes, rates and Format_7 codings by name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "acquisition/dcam_camera.h"
#include "base/exception.h"
#include "base/handle.h"
#include "base/pixel_coding.h"

// A named video format. Standard formats (Format_0 to Format_2) are named
// by their mode and frame rate, "640x480 Mono 30 FPS"; Format_7 formats by
// mode and colour coding, "Format7 Mode 0 Bayer RAW8". A Format_7 format's
// size is the mode's maximum on the camera it is used with, so a format
// looked up without a camera has width and height 0.
class vxVideoFormat {
 public:
  class NotFound : public vxException {
   public:
    using vxException::vxException;
  };
  class NotSupported : public vxException {
   public:
    using vxException::vxException;
  };

  static constexpr uint32_t kFormat7 = 7;

  virtual ~vxVideoFormat() = default;

  const std::string& name() const { return m_name; }
  uint32_t format() const { return m_format; }
  uint32_t mode() const { return m_mode; }
  uint32_t rate() const { return m_rate; }  // 0 for Format_7
  vxPixelCoding coding() const { return m_coding; }
  uint32_t colorCodingId() const { return static_cast<uint32_t>(m_coding); }
  uint32_t width() const { return m_width; }
  uint32_t height() const { return m_height; }
  bool isFormat7() const { return m_format == kFormat7; }
  // Frames per second of a standard format; 0 for Format_7.
  double framesPerSecond() const;
  virtual bool isGrey() const { return false; }
  virtual bool isStandard() const { return false; }

  // The DCAM names. Null outside the tables.
  static const char* modeName(uint32_t format, uint32_t mode);
  static const char* rateName(uint32_t rate);
  static const char* colorCodingName(uint32_t id);
  // The coding a standard mode delivers; false outside the tables.
  static bool standardCoding(uint32_t format, uint32_t mode, vxPixelCoding& coding);

  static std::string standardName(uint32_t format, uint32_t mode, uint32_t rate);
  static std::string format7Name(uint32_t mode, uint32_t colorCodingId);

  // The format of a name; NotFound when no format has it.
  static vxPtrHandle<vxVideoFormat> find(const std::string& name);
  // The same with a Format_7 format's size taken from the camera; NotFound
  // for an unknown name, NotSupported when the camera does not offer it.
  static vxPtrHandle<vxVideoFormat> find(vx1394DCAM& camera, const std::string& name);
  // The format of numbers; NotFound outside the tables. For Format_7 the
  // third number is the colour coding id.
  static vxPtrHandle<vxVideoFormat> make(uint32_t format, uint32_t mode, uint32_t rateOrCoding);

  // The formats a camera offers: its standard modes at each of their rates
  // in format, mode and rate order, then each Format_7 mode with each colour
  // coding it offers.
  static std::vector<vxPtrHandle<vxVideoFormat>> supportedFormats(vx1394DCAM& camera);
  static std::vector<std::string> supportedNames(vx1394DCAM& camera);

  bool isSupportedBy(vx1394DCAM& camera) const;
  // Throws NotSupported naming the format when the camera does not offer it.
  void requireSupport(vx1394DCAM& camera) const;

 protected:
  vxVideoFormat(std::string name, uint32_t format, uint32_t mode, uint32_t rate,
                vxPixelCoding coding, uint32_t width, uint32_t height);

 private:
  friend class vx_VideoFormatFactory;
  std::string m_name;
  uint32_t m_format, m_mode, m_rate;
  vxPixelCoding m_coding;
  uint32_t m_width, m_height;
};

// A standard DCAM format (Format_0 to Format_2) in colour.
class vxStdVideoFormat : public vxVideoFormat {
 public:
  bool isStandard() const override { return true; }

 protected:
  using vxVideoFormat::vxVideoFormat;
  friend class vx_VideoFormatFactory;
};

// A Format_7 format that delivers grey images (mono and raw Bayer codings).
class vxGreyVideoFormat : public vxVideoFormat {
 public:
  bool isGrey() const override { return true; }

 protected:
  using vxVideoFormat::vxVideoFormat;
  friend class vx_VideoFormatFactory;
};

// A standard DCAM format that delivers grey images.
class vxStdGreyVideoFormat : public vxStdVideoFormat {
 public:
  bool isGrey() const override { return true; }

 protected:
  using vxStdVideoFormat::vxStdVideoFormat;
  friend class vx_VideoFormatFactory;
};

// Whether a coding is delivered as grey images.
bool vxIsGreyCoding(vxPixelCoding coding);
