// CHistogramWnd drawn into an image and read at chosen pixels.
#include <QAction>
#include <QImage>
#include <QInputDialog>
#include <QMenu>
#include <QtTest>

#include <vector>

#include "gui/histogram_wnd.h"
#include "gui_test_support.h"

namespace {

const QSize kSize(300, 170);

QImage drawn(const CHistogramWnd& wnd, QSize size = kSize) {
  QImage image(size, QImage::Format_RGB32);
  wnd.render(image);
  return image;
}

QColor at(const QImage& image, int x, int y) {
  return image.pixelColor(x, y);
}

// The x of a bin in a plot, as the drawing places it.
int binX(const QRect& plot, int bin) {
  return plot.left() + (plot.right() - plot.left()) * bin / 256;
}

vxHistogram histogramOf(std::initializer_list<std::pair<int, uint32_t>> counts) {
  vxHistogram::Bins bins{};
  for (const auto& [level, count] : counts) bins[static_cast<size_t>(level)] = count;
  return vxHistogram(bins);
}

}  // namespace

class HistogramWndTest : public QObject {
  Q_OBJECT
 private slots:
  void allBlackImageIsOneFullHeightBinAtZero() {
    CHistogramWnd wnd;
    std::vector<uint8_t> black(64 * 48, 0);
    wnd.setImage({black.data(), 64, 48, 64, vxPixelCoding::Mono8});
    const QImage image = drawn(wnd);
    const QRect plot = wnd.plotArea(kSize);
    const int x0 = binX(plot, 0);
    // Bin 0 reaches the top edge; bin 100 (no count) stays at the base.
    QCOMPARE(at(image, x0, plot.top() + 1), CHistogramWnd::kPlotGreen);
    QCOMPARE(at(image, x0, plot.bottom() - 1), CHistogramWnd::kPlotGreen);
    QCOMPARE(at(image, binX(plot, 100), plot.top() + 10), QColor(Qt::black));
    QCOMPARE(at(image, binX(plot, 100), plot.bottom()), CHistogramWnd::kPlotGreen);
    QCOMPARE(wnd.statisticsLine(),
             QString("Mean: 0.00   Min:   0   Max:   0   Mode: 0   StdDev: 0.00"));
    // The frame and the quarter lines in their greens.
    QCOMPARE(at(image, plot.right(), plot.top() + 5), CHistogramWnd::kFrameGreen);
    QCOMPARE(at(image, binX(plot, 128), plot.top() + 5), CHistogramWnd::kGridGreen);
  }

  void fixedScaleClipsTheTallestBinsAndScalesTheOthers() {
    CHistogramWnd wnd;
    wnd.setHistogram(histogramOf({{50, 1000}, {200, 50}}));
    wnd.setAutoScale(false);
    wnd.setFixedScale(100);
    QCOMPARE(wnd.verticalScale(), 100u);
    const QImage image = drawn(wnd);
    const QRect plot = wnd.plotArea(kSize);
    QCOMPARE(at(image, binX(plot, 50), plot.top() + 1), CHistogramWnd::kPlotGreen);
    // 50 counts of a scale of 100: trunc((B - T) / 101 * 50) pixels high.
    const int height =
        static_cast<int>(static_cast<double>(plot.bottom() - plot.top()) / 101.0 * 50.0);
    const int x200 = binX(plot, 200);
    QCOMPARE(at(image, x200, plot.bottom() - height), CHistogramWnd::kPlotGreen);
    QCOMPARE(at(image, x200, plot.bottom() - height - 2), QColor(Qt::black));

    // The zoom divides the scale: at 4 the 50 counts clip too.
    wnd.setZoom(4);
    QCOMPARE(wnd.verticalScale(), 25u);
    QCOMPARE(at(drawn(wnd), x200, plot.top() + 1), CHistogramWnd::kPlotGreen);
    wnd.setAutoScale(true);
    QCOMPARE(wnd.verticalScale(), 250u);
  }

  void zoomNeverBecomesZero() {
    CHistogramWnd wnd;
    wnd.setHistogram(histogramOf({{10, 7}}));
    for (int zoom : {0, -3}) {
      wnd.setZoom(zoom);
      QCOMPARE(wnd.zoom(), 1);
    }
    // Zooming out from 1 through the menu stays at 1; zooming in doubles.
    wnd.setZoom(1);
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5), QPoint(5, 5));
    QCoreApplication::sendEvent(&wnd, &event);
    auto* menu = wnd.findChild<QMenu*>("histogramMenu");
    QVERIFY(menu);
    menu->findChild<QAction*>("actionZoomOut")->trigger();
    QCOMPARE(wnd.zoom(), 1);
    menu->findChild<QAction*>("actionZoomIn")->trigger();
    QCOMPARE(wnd.zoom(), 2);
    menu->close();
    // A tiny scale divided by a large zoom is 0 and still draws.
    wnd.setZoom(1000);
    QCOMPARE(wnd.verticalScale(), 0u);
    const QRect plot = wnd.plotArea(kSize);
    QCOMPARE(at(drawn(wnd), binX(plot, 10), plot.top() + 1), CHistogramWnd::kPlotGreen);
  }

  void markersOnlyOnNarrowPlotsAndTheirText() {
    CHistogramWnd wnd;
    wnd.setHistogram(histogramOf({{64, 9}, {192, 4}}));
    wnd.setShowMarkers(true);
    QCOMPARE(wnd.statisticsLine(),
             QString("Mean: 103.38   Min:  64   Max: 192   Mode: 64   StdDev: 59.08"
                     "   Red: 64 - 9   Blue: 192 - 4"));
    wnd.setMarkers(30, 300);
    QCOMPARE(wnd.blueMarker(), 255);
    const QRect narrow = wnd.plotArea(kSize);
    const QImage small = drawn(wnd);
    QCOMPARE(at(small, binX(narrow, 30), narrow.top() + 3), CHistogramWnd::kRedMarker);
    QCOMPARE(at(small, binX(narrow, 255), narrow.top() + 3), CHistogramWnd::kBlueMarker);

    const QSize wide(700, 170);
    const QRect plot = wnd.plotArea(wide);
    QVERIFY(plot.width() >= CHistogramWnd::kMarkerPlotWidthLimit);
    QCOMPARE(at(drawn(wnd, wide), binX(plot, 30), plot.top() + 3), QColor(Qt::black));
  }

  void lineModeJoinsTheBins() {
    CHistogramWnd wnd;
    vxHistogram::Bins bins{};
    for (size_t level = 100; level <= 110; ++level) bins[level] = 10;
    wnd.setHistogram(vxHistogram(bins));
    wnd.setBarMode(false);
    const QRect plot = wnd.plotArea(kSize);
    // Auto-scale: 10 counts of a scale of 10 are trunc((B - T) / 11 * 10) high.
    const int top = plot.bottom() -
                    static_cast<int>(static_cast<double>(plot.bottom() - plot.top()) / 11.0 * 10.0);
    const int middle = (binX(plot, 100) + binX(plot, 110)) / 2;
    const QImage line = drawn(wnd);
    QCOMPARE(at(line, middle, top), CHistogramWnd::kPlotGreen);
    QCOMPARE(at(line, middle, top + 3), QColor(Qt::black));
    // Bars fill the same columns down to the base.
    wnd.setBarMode(true);
    QCOMPARE(at(drawn(wnd), middle, top + 3), CHistogramWnd::kPlotGreen);
  }
  void contextMenuChangesEverySetting() {
    CHistogramWnd wnd;
    wnd.setHistogram(histogramOf({{10, 30000}, {200, 5000}}));
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5), QPoint(5, 5));
    QCoreApplication::sendEvent(&wnd, &event);
    auto* menu = wnd.findChild<QMenu*>("histogramMenu");
    QVERIFY(menu);
    auto action = [menu](const char* name) {
      QAction* a = menu->findChild<QAction*>(name);
      if (!a) qFatal("no action %s", name);
      return a;
    };
    QVERIFY(action("actionAutoScale")->isChecked() && action("actionBarMode")->isChecked());
    QVERIFY(!action("actionShowMarkers")->isChecked());
    action("actionAutoScale")->trigger();
    action("actionBarMode")->trigger();
    action("actionShowMarkers")->trigger();
    action("actionHistogramEnable")->trigger();
    QVERIFY(!wnd.autoScale() && !wnd.barMode() && wnd.showMarkers());
    QVERIFY(!wnd.isEnabledForImages());
    QCOMPARE(wnd.verticalScale(), CHistogramWnd::kDefaultFixedScale);

    // The full-scale count and the two marker bins are asked for in turn.
    whenModalDialogRuns([](QDialog* dialog) {
      auto* input = qobject_cast<QInputDialog*>(dialog);
      QVERIFY(input);
      input->setIntValue(40000);
      input->accept();
    });
    action("actionFullScale")->trigger();
    QCOMPARE(wnd.verticalScale(), 40000u);
    whenModalDialogRuns([](QDialog* dialog) {
      whenModalDialogRuns([](QDialog* second) {
        qobject_cast<QInputDialog*>(second)->setIntValue(200);
        second->accept();
      });
      qobject_cast<QInputDialog*>(dialog)->setIntValue(10);
      dialog->accept();
    });
    action("actionMarkerBins")->trigger();
    QCOMPARE(wnd.redMarker(), 10);
    QCOMPARE(wnd.blueMarker(), 200);
    QVERIFY(wnd.statisticsLine().endsWith("Red: 10 - 30000   Blue: 200 - 5000"));
    // Cancelling the first question keeps both bins.
    whenModalDialogRuns([](QDialog* dialog) { dialog->reject(); });
    action("actionMarkerBins")->trigger();
    QCOMPARE(wnd.redMarker(), 10);
    menu->close();
  }
};

QTEST_MAIN(HistogramWndTest)
#include "histogram_wnd_test.moc"
