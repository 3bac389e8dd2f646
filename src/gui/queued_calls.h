// Queued calls from any thread onto a QObject's thread, safe against the
// receiver going away while another thread still posts.
#pragma once

#include <QMetaObject>
#include <QObject>

#include <functional>
#include <memory>
#include <mutex>

// Owned by the receiver and closed when it goes: calls posted after that are
// dropped, calls already queued are dropped by Qt with the receiver.
class CQueuedCalls {
 public:
  using Post = std::function<void(std::function<void()> call)>;

  explicit CQueuedCalls(QObject* receiver) : m_state(std::make_shared<State>(receiver)) {}
  ~CQueuedCalls() { close(); }
  CQueuedCalls(const CQueuedCalls&) = delete;
  CQueuedCalls& operator=(const CQueuedCalls&) = delete;

  void close() {
    std::lock_guard lock(m_state->mutex);
    m_state->receiver = nullptr;
  }

  // A function any thread may call: it queues the call onto the receiver's
  // thread and returns at once. The call owns everything it captures.
  Post poster() const {
    return [state = m_state](std::function<void()> call) {
      std::lock_guard lock(state->mutex);
      if (state->receiver)
        QMetaObject::invokeMethod(state->receiver, std::move(call), Qt::QueuedConnection);
    };
  }

 private:
  struct State {
    explicit State(QObject* r) : receiver(r) {}
    std::mutex mutex;
    QObject* receiver;
  };
  std::shared_ptr<State> m_state;
};
