// dcam-pralix: the desktop program.
#include <QApplication>

#include "gui/dcam_pralix_app.h"
#include "gui/prompter.h"

int main(int argc, char* argv[]) {
  QApplication qtApplication(argc, argv);
  CMessageBoxPrompter prompter;
  CDcamPralixApp app(QApplication::arguments().mid(1), prompter);
  return app.run();
}
