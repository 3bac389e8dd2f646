// dcam-pralix: the desktop program.
#include <QApplication>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "app/app_command_line.h"

#include "gui/dcam_pralix_app.h"
#include "gui/prompter.h"

int main(int argc, char* argv[]) {
  // Start-up is timed from here when asked for.
  const auto entered = std::chrono::steady_clock::now();
  // Help, the version and a mistyped option are answered before Qt starts,
  // so they work without a display too.
  const vxAppArgumentCheck check = vxCheckAppArguments(std::vector<std::string>(argv + 1, argv + argc));
  switch (check.action) {
    case vxAppAction::Help:
      std::fputs(vxAppUsage().c_str(), stdout);
      return 0;
    case vxAppAction::Version:
      std::printf("dcam-pralix %s\n", PRALIX_VERSION);
      return 0;
    case vxAppAction::Refuse:
      std::fprintf(stderr, "dcam-pralix: %s\n\n%s", check.message.c_str(), vxAppUsage().c_str());
      return 2;
    case vxAppAction::Run:
      break;
  }
  QApplication qtApplication(argc, argv);
  CMessageBoxPrompter prompter;
  CDcamPralixApp app(QApplication::arguments().mid(1), prompter);
  app.setMainEntryTime(entered);
  return app.run();
}
