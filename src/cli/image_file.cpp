// Writing an acquired image to a file: PGM and PPM always, other formats through Qt when built in.
#include "cli/image_file.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <vector>

#include "base/format.h"
#include "imaging/grey_convert.h"

#ifdef PRALIX_CLI_HAVE_QT
#include <QByteArray>
#include <QImage>
#include <QImageWriter>
#include <QString>
#endif

namespace {

std::string lowerExtension(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  const size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
  std::string ext = path.substr(dot + 1);
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ext;
}

// Binary PGM (P5) or PPM (P6) of packed 8-bit rows.
bool writeNetpbm(const std::string& path, bool rgb, uint32_t width, uint32_t height,
                 const std::vector<uint8_t>& pixels, std::string* error) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (file) {
    file << (rgb ? "P6" : "P5") << '\n' << width << ' ' << height << "\n255\n";
    file.write(reinterpret_cast<const char*>(pixels.data()),
               static_cast<std::streamsize>(pixels.size()));
    file.close();
  }
  if (!file) {
    if (error) *error = vxFormat("Cannot write %s: %s", path.c_str(), std::strerror(errno));
    return false;
  }
  return true;
}

}  // namespace

bool vxCanWriteImageFile(const std::string& path, std::string* why) {
  const std::string ext = lowerExtension(path);
  if (ext == "pgm" || ext == "ppm") return true;
#ifdef PRALIX_CLI_HAVE_QT
  const QList<QByteArray> formats = QImageWriter::supportedImageFormats();
  if (!ext.empty() && formats.contains(QByteArray::fromStdString(ext))) return true;
  if (why) {
    std::string list = "pgm, ppm";
    for (const QByteArray& f : formats)
      if (f != "pgm" && f != "ppm") list += ", " + f.toStdString();
    *why = vxFormat("Cannot save images as '%s'; the extension must be one of: %s.", ext.c_str(),
                    list.c_str());
  }
#else
  if (why)
    *why = vxFormat(
        "Cannot save images as '%s': this pralix was built without Qt and writes only "
        ".pgm and .ppm files.",
        ext.c_str());
#endif
  return false;
}

bool vxWriteImageFile(const std::string& path, const vxAcqImage& image, std::string* error) {
  std::string why;
  if (!vxCanWriteImageFile(path, &why)) {
    if (error) *error = why;
    return false;
  }
  const std::string ext = lowerExtension(path);
  // Raw mosaics are grey samples, as the display shows them.
  const bool rgb = ext == "ppm" || (ext != "pgm" && vxGreyConverter::isColour(image.coding()));
  const std::vector<uint8_t> pixels =
      rgb ? vxGreyConverter::toRgb8(image.view()) : vxGreyConverter::toGrey8(image.view());
  if (ext == "pgm" || ext == "ppm")
    return writeNetpbm(path, rgb, image.width(), image.height(), pixels, error);
#ifdef PRALIX_CLI_HAVE_QT
  const QImage picture(pixels.data(), static_cast<int>(image.width()),
                       static_cast<int>(image.height()),
                       static_cast<qsizetype>(rgb ? 3 * image.width() : image.width()),
                       rgb ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
  QImageWriter writer(QString::fromStdString(path));
  writer.setFormat(QByteArray::fromStdString(ext));
  if (writer.write(picture)) return true;
  if (error)
    *error =
        vxFormat("Cannot write %s: %s", path.c_str(), writer.errorString().toStdString().c_str());
#endif
  return false;
}
