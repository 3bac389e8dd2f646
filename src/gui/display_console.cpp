// The live display of an acquisition window: console window and display thread.
#include "gui/display_console.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

#include "imaging/display_picture.h"

CDisplayConsole::CDisplayConsole() : QWidget(nullptr, Qt::Window) {
  setObjectName("displayConsole");
  setWindowTitle(kTitle);
  setAttribute(Qt::WA_OpaquePaintEvent);
  resize(kWidth, kHeight);
  if (QScreen* screen = QGuiApplication::primaryScreen()) move(screen->geometry().topLeft());
}

void CDisplayConsole::showPicture(const QImage& picture) {
  m_picture = picture;
  update();
}

QSize CDisplayConsole::pictureArea() const {
  return {static_cast<int>(m_areaWidth.load()), static_cast<int>(m_areaHeight.load())};
}

void CDisplayConsole::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), Qt::black);
  if (m_picture.isNull()) return;
  const QPoint at((width() - m_picture.width()) / 2, (height() - m_picture.height()) / 2);
  painter.drawImage(at, m_picture);
  ++m_painted;
}

void CDisplayConsole::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  m_areaWidth = static_cast<uint32_t>(std::max(width(), 1));
  m_areaHeight = static_cast<uint32_t>(std::max(height(), 1));
}

CDisplayFeed::CDisplayFeed(CDisplayConsole* console)
    : m_console(console), m_calls(console), m_post(m_calls.poster()), m_thread([this] { run(); }) {}

CDisplayFeed::~CDisplayFeed() {
  {
    std::lock_guard lock(m_mutex);
    m_quit = true;
  }
  m_wake.notify_one();
  m_thread.join();
  m_calls.close();
}

void CDisplayFeed::offer(vxPtrHandle<vxAcqImage> image) {
  ++m_offered;
  {
    std::lock_guard lock(m_mutex);
    if (m_waiting) ++m_replaced;
    m_waiting = std::move(image);
  }
  m_wake.notify_one();
}

void CDisplayFeed::refresh() {
  {
    std::lock_guard lock(m_mutex);
    m_refresh = true;
  }
  m_wake.notify_one();
}

vxPtrHandle<vxAcqImage> CDisplayFeed::lastImage() const {
  std::lock_guard lock(m_mutex);
  return m_last;
}

void CDisplayFeed::run() {
  for (;;) {
    vxPtrHandle<vxAcqImage> image;
    {
      std::unique_lock lock(m_mutex);
      m_wake.wait(lock, [this] { return m_quit || m_waiting || m_refresh; });
      if (m_quit) return;
      if (m_waiting) {
        image = std::move(m_waiting);
        m_waiting.reset();
        m_last = image;
      } else {
        image = m_last;
      }
      m_refresh = false;
    }
    if (!image) continue;
    const QSize area = m_console->pictureArea();
    uint32_t w = 0, h = 0;
    vxFitDisplaySize(image->width(), image->height(), static_cast<uint32_t>(area.width()),
                     static_cast<uint32_t>(area.height()), w, h);
    QImage picture(static_cast<int>(w), static_cast<int>(h), QImage::Format_RGB888);
    try {
      vxDrawDisplayPicture(image->view(), w, h, picture.bits(),
                           static_cast<size_t>(picture.bytesPerLine()));
    } catch (const std::exception&) {
      continue;  // an image that cannot be read is not shown
    }
    deliver(std::move(picture));
  }
}

void CDisplayFeed::deliver(QImage picture) {
  std::lock_guard lock(m_mailbox->mutex);
  m_mailbox->picture = std::move(picture);
  if (m_mailbox->posted) return;
  m_mailbox->posted = true;
  m_post([console = m_console, mailbox = m_mailbox] {
    QImage shown;
    {
      std::lock_guard inner(mailbox->mutex);
      shown = std::move(mailbox->picture);
      mailbox->posted = false;
    }
    console->showPicture(shown);
  });
}
