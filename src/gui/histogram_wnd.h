// CHistogramWnd: the "Image Histogram" control of the acquisition window.
#pragma once

#include <QColor>
#include <QImage>
#include <QWidget>

#include <atomic>

#include "imaging/histogram.h"

class QMenu;

// Draws the 256-bin grey-level histogram of the last image with its
// statistics line under it, double-buffered. The user changes the display
// settings through the context menu.
class CHistogramWnd : public QWidget {
  Q_OBJECT
 public:
  // The vertical full scale when auto-scale is off, before the zoom divides it.
  static constexpr uint32_t kDefaultFixedScale = 20000;
  // Marker lines are drawn only on plots narrower than this.
  static constexpr int kMarkerPlotWidthLimit = 500;

  static const QColor kPlotGreen;   // the histogram itself
  static const QColor kFrameGreen;  // the frame and the statistics line
  static const QColor kGridGreen;   // the quarter lines of the grey scale
  static const QColor kRedMarker;
  static const QColor kBlueMarker;

  explicit CHistogramWnd(QWidget* parent = nullptr);

  // From an image of any coding; throws vxHistogram::BadPointer for an image
  // without a buffer.
  void setImage(const vxImageView& image);
  void setHistogram(const vxHistogram& histogram);
  const vxHistogram& histogram() const { return m_histogram; }

  // Whether acquired images are counted; any thread may ask.
  bool isEnabledForImages() const { return m_imagesEnabled.load(); }
  void setEnabledForImages(bool on) { m_imagesEnabled = on; }
  bool autoScale() const { return m_autoScale; }
  void setAutoScale(bool on);
  uint32_t fixedScale() const { return m_fixedScale; }
  void setFixedScale(uint32_t count);
  // The zoom divisor never becomes 0: values below 1 are taken as 1.
  int zoom() const { return m_zoom; }
  void setZoom(int zoom);
  bool barMode() const { return m_barMode; }
  void setBarMode(bool on);
  bool showMarkers() const { return m_showMarkers; }
  void setShowMarkers(bool on);
  int redMarker() const { return m_redMarker; }
  int blueMarker() const { return m_blueMarker; }
  // Bins outside 0..255 are clamped.
  void setMarkers(int red, int blue);

  // The vertical scale in counts the plot uses now.
  uint32_t verticalScale() const;
  // The text printed under the plot.
  QString statisticsLine() const;
  // The plot's rectangle in an image of this size: left, top, right, bottom.
  static QRect plotRect(const QSize& size, int textHeight);
  // The same with the height of the statistics line's font.
  QRect plotArea(const QSize& size) const;
  // Draws the whole control into an image of its size.
  void render(QImage& target) const;

  QSize sizeHint() const override { return {300, 170}; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  QMenu* buildMenu();

  vxHistogram m_histogram;
  std::atomic<bool> m_imagesEnabled{true};
  bool m_autoScale = true;
  uint32_t m_fixedScale = kDefaultFixedScale;
  int m_zoom = 1;
  bool m_barMode = true;
  bool m_showMarkers = false;
  int m_redMarker = kRedMarkerBin;
  int m_blueMarker = kBlueMarkerBin;
  QImage m_buffer;  // the off-screen picture, kept between paints
};
