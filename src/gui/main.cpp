// dcam-pralix: the desktop program.
#include <QApplication>

#include <chrono>

#include "gui/dcam_pralix_app.h"
#include "gui/prompter.h"

int main(int argc, char* argv[]) {
  // Start-up is timed from here when asked for.
  const auto entered = std::chrono::steady_clock::now();
  QApplication qtApplication(argc, argv);
  CMessageBoxPrompter prompter;
  CDcamPralixApp app(QApplication::arguments().mid(1), prompter);
  app.setMainEntryTime(entered);
  return app.run();
}
