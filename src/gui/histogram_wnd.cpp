// CHistogramWnd: the "Image Histogram" control of the acquisition window.
#include "gui/histogram_wnd.h"

#include <QContextMenuEvent>
#include <QFontMetrics>
#include <QInputDialog>
#include <QMenu>
#include <QPainter>

#include <algorithm>
#include <cmath>

const QColor CHistogramWnd::kPlotGreen = QColor(0x00, 0xFF, 0x00);
const QColor CHistogramWnd::kFrameGreen = QColor(0x00, 0xA0, 0x00);
const QColor CHistogramWnd::kGridGreen = QColor(0x00, 0x60, 0x00);
const QColor CHistogramWnd::kRedMarker = QColor(255, 64, 64);
const QColor CHistogramWnd::kBlueMarker = QColor(64, 64, 255);

namespace {

// The small font keeps the whole statistics line under a narrow plot.
QFont statisticsFont() {
  QFont font("Small Fonts");
  font.setStyleHint(QFont::SansSerif);
  font.setPointSize(7);
  return font;
}

}  // namespace

CHistogramWnd::CHistogramWnd(QWidget* parent) : QWidget(parent) {
  setObjectName("histogram");
  setMinimumSize(280, 150);
  setAttribute(Qt::WA_OpaquePaintEvent);
  setContextMenuPolicy(Qt::DefaultContextMenu);
}

void CHistogramWnd::setImage(const vxImageView& image) {
  setHistogram(vxHistogram::fromImage(image));
}

void CHistogramWnd::setHistogram(const vxHistogram& histogram) {
  m_histogram = histogram;
  update();
}

void CHistogramWnd::setAutoScale(bool on) {
  m_autoScale = on;
  update();
}

void CHistogramWnd::setFixedScale(uint32_t count) {
  m_fixedScale = count;
  update();
}

void CHistogramWnd::setZoom(int zoom) {
  m_zoom = std::max(zoom, 1);
  update();
}

void CHistogramWnd::setBarMode(bool on) {
  m_barMode = on;
  update();
}

void CHistogramWnd::setShowMarkers(bool on) {
  m_showMarkers = on;
  update();
}

void CHistogramWnd::setMarkers(int red, int blue) {
  m_redMarker = std::clamp(red, 0, vxHistogram::kBins - 1);
  m_blueMarker = std::clamp(blue, 0, vxHistogram::kBins - 1);
  update();
}

uint32_t CHistogramWnd::verticalScale() const {
  const uint32_t full = m_autoScale ? m_histogram.largestCount() : m_fixedScale;
  return full / static_cast<uint32_t>(m_zoom);
}

QString CHistogramWnd::statisticsLine() const {
  return QString::fromStdString(
      vxStatisticsLine(m_histogram, m_showMarkers, m_redMarker, m_blueMarker));
}

QRect CHistogramWnd::plotRect(const QSize& size, int textHeight) {
  // Room under the plot for the statistics line, 2 pixels below the base.
  const int left = 4, top = 4;
  const int right = std::max(left + 1, size.width() - 5);
  const int bottom = std::max(top + 1, size.height() - textHeight - 6);
  return QRect(QPoint(left, top), QPoint(right, bottom));
}

QRect CHistogramWnd::plotArea(const QSize& size) const {
  return plotRect(size, QFontMetrics(statisticsFont()).height());
}

void CHistogramWnd::render(QImage& target) const {
  QPainter painter(&target);
  const QFont font = statisticsFont();
  painter.setFont(font);
  const QFontMetrics metrics(font);
  const QRect plot = plotRect(target.size(), metrics.height());
  const int L = plot.left(), T = plot.top(), R = plot.right(), B = plot.bottom();

  painter.fillRect(target.rect(), Qt::black);
  // Quarter lines of the grey scale under the plot, then the frame.
  painter.setPen(QPen(kGridGreen, 1));
  for (int level : {64, 128, 192}) {
    const int x = L + (R - L) * level / vxHistogram::kBins;
    painter.drawLine(x, T + 1, x, B - 1);
  }
  painter.setPen(QPen(kFrameGreen, 1));
  // A stroked rectangle covers its size plus the pen: edges on L, R, T and B.
  painter.drawRect(QRect(L, T, R - L, B - T));

  const uint32_t scale = verticalScale();
  const double unit = static_cast<double>(B - T) / (static_cast<double>(scale) + 1.0);
  painter.setPen(QPen(kPlotGreen, 1));
  QPoint previous(L, B);
  int x = L;
  for (int i = 0; i < vxHistogram::kBins; ++i) {
    x = L + static_cast<int>(static_cast<long long>(R - L) * i / vxHistogram::kBins);
    const double height = std::trunc(unit * static_cast<double>(m_histogram.count(i)));
    const int y = height >= static_cast<double>(B - T) ? T : B - static_cast<int>(height);
    if (m_barMode) {
      painter.drawLine(x, B, x, y);
    } else {
      painter.drawLine(previous, QPoint(x, y));
    }
    previous = QPoint(x, y);
  }
  painter.drawLine(previous, QPoint(x, B));

  if (m_showMarkers && R - L < kMarkerPlotWidthLimit) {
    for (const auto& [bin, colour] :
         {std::pair{m_redMarker, kRedMarker}, std::pair{m_blueMarker, kBlueMarker}}) {
      const int mx = L + (R - L) * bin / vxHistogram::kBins;
      painter.setPen(QPen(colour, 1));
      painter.drawLine(mx, T, mx, B);
    }
  }

  painter.setPen(kFrameGreen);
  const QRect textBox(0, B + 2, target.width(), metrics.height());
  painter.drawText(textBox, Qt::AlignHCenter | Qt::AlignTop, statisticsLine());
}

void CHistogramWnd::paintEvent(QPaintEvent*) {
  if (m_buffer.size() != size()) m_buffer = QImage(size(), QImage::Format_RGB32);
  render(m_buffer);
  QPainter(this).drawImage(0, 0, m_buffer);
}

QMenu* CHistogramWnd::buildMenu() {
  auto* menu = new QMenu(this);
  menu->setObjectName("histogramMenu");
  auto toggle = [menu](const QString& text, const char* name, bool checked, auto apply) {
    QAction* action = menu->addAction(text);
    action->setObjectName(name);
    action->setCheckable(true);
    action->setChecked(checked);
    QObject::connect(action, &QAction::toggled, apply);
  };
  toggle("Histogram Enable", "actionHistogramEnable", m_imagesEnabled.load(),
         [this](bool on) { setEnabledForImages(on); });
  toggle("Auto Scale", "actionAutoScale", m_autoScale, [this](bool on) { setAutoScale(on); });
  toggle("Bar Mode", "actionBarMode", m_barMode, [this](bool on) { setBarMode(on); });
  toggle("Show Markers", "actionShowMarkers", m_showMarkers,
         [this](bool on) { setShowMarkers(on); });
  menu->addSeparator();
  menu->addAction("Zoom In", this, [this] { setZoom(m_zoom * 2); })->setObjectName("actionZoomIn");
  menu->addAction("Zoom Out", this, [this] { setZoom(m_zoom / 2); })
      ->setObjectName("actionZoomOut");
  menu->addAction("Full Scale Count ...", this, [this] {
    bool ok = false;
    const int count = QInputDialog::getInt(this, "Image Histogram",
                                           "Full scale count:", static_cast<int>(m_fixedScale), 1,
                                           1 << 30, 100, &ok);
    if (ok) setFixedScale(static_cast<uint32_t>(count));
  })->setObjectName("actionFullScale");
  menu->addAction("Marker Bins ...", this, [this] {
    bool ok = false;
    const int red = QInputDialog::getInt(this, "Image Histogram", "Red marker bin:", m_redMarker, 0,
                                         255, 1, &ok);
    if (!ok) return;
    const int blue = QInputDialog::getInt(this, "Image Histogram", "Blue marker bin:", m_blueMarker,
                                          0, 255, 1, &ok);
    if (ok) setMarkers(red, blue);
  })->setObjectName("actionMarkerBins");
  return menu;
}

void CHistogramWnd::contextMenuEvent(QContextMenuEvent* event) {
  QMenu* menu = buildMenu();
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->popup(event->globalPos());
}
