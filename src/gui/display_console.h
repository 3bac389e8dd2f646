// The live display of an acquisition window: the "DCAM Pralix Display
// Console" window and the display thread that feeds it.
#pragma once

#include <QImage>
#include <QWidget>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "acquisition/acq_image.h"
#include "base/handle.h"
#include "gui/queued_calls.h"

// A top-level window that paints the latest picture it was given.
class CDisplayConsole : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kTitle = "DCAM Pralix Display Console";
  static constexpr int kWidth = 660;
  static constexpr int kHeight = 550;

  // Placed at the top left of the primary screen.
  CDisplayConsole();

  // GUI thread: the picture to show now.
  void showPicture(const QImage& picture);
  const QImage& picture() const { return m_picture; }
  // Pictures painted so far.
  uint64_t picturesPainted() const { return m_painted.load(); }
  // The area pictures are drawn into; any thread may read it.
  QSize pictureArea() const;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  QImage m_picture;
  std::atomic<uint64_t> m_painted{0};
  std::atomic<uint32_t> m_areaWidth{kWidth}, m_areaHeight{kHeight};
};

// The display thread of one acquisition window. The acquiring thread offers
// each image; the display thread turns the newest one into a picture of the
// console's size and hands it to the console. Nothing queues: an image
// offered while another waits replaces it, and a picture made while the
// console has not yet taken the last one replaces that, so a slow display
// never holds acquisition back.
class CDisplayFeed {
 public:
  explicit CDisplayFeed(CDisplayConsole* console);
  ~CDisplayFeed();
  CDisplayFeed(const CDisplayFeed&) = delete;
  CDisplayFeed& operator=(const CDisplayFeed&) = delete;

  // Any thread.
  void offer(vxPtrHandle<vxAcqImage> image);
  // Draws the last image again (after a resize).
  void refresh();
  // Images offered, and images replaced before they were drawn.
  uint64_t offered() const { return m_offered.load(); }
  uint64_t replaced() const { return m_replaced.load(); }
  // The last image offered; null before the first.
  vxPtrHandle<vxAcqImage> lastImage() const;

 private:
  struct Mailbox {
    std::mutex mutex;
    QImage picture;
    bool posted = false;
  };
  void run();
  void deliver(QImage picture);

  CDisplayConsole* m_console;
  std::shared_ptr<Mailbox> m_mailbox = std::make_shared<Mailbox>();
  mutable std::mutex m_mutex;
  std::condition_variable m_wake;
  vxPtrHandle<vxAcqImage> m_waiting;  // the image event: a new image to draw
  vxPtrHandle<vxAcqImage> m_last;
  bool m_refresh = false;  // the refresh event
  bool m_quit = false;
  std::atomic<uint64_t> m_offered{0}, m_replaced{0};
  CQueuedCalls m_calls;
  CQueuedCalls::Post m_post;
  std::thread m_thread;  // last: starts when everything above is ready
};
