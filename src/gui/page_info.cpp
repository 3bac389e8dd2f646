// CPageInfo: the introductory page that says what the tool is for.
#include "gui/page_info.h"

#include <QLabel>
#include <QVBoxLayout>

#include "app/camera_list.h"
#include "base/sysfs.h"
#include "gui/page_widgets.h"
#include "gui/prompter.h"
#include "inspection/host_info.h"

namespace {

QLabel* addLine(QVBoxLayout* layout, const char* name, const std::string& text) {
  QLabel* label = addFixedText(layout, QString::fromStdString(text));
  label->setObjectName(name);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  return label;
}

}  // namespace

CPageInfo::CPageInfo(const CPageServices& services, QWidget* parent) : QWidget(parent) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  QLabel* heading =
      addPageHeading(layout, "Qorvel DCAM Pralix - IEEE 1394 DCAM Camera Diagnostic Utility");
  heading->setWordWrap(true);
  addFixedText(
      layout,
      "This tool helps debug issues with IEEE 1394 DCAM cameras. It also reports detailed "
      "information about the IEEE 1394 DCAMs attached to your system. Click on each node on the "
      "tree to the left to get more information.");

  // Filled once, when the page is made: the versions do not change while the program runs.
  const vxSysfs sysfs(vxSysfsRootPath());
  vx_DcamModule* module = services.cameras ? &services.cameras->module() : nullptr;
  const vxHostInfo info = vxCollectHostInfo(vxLocalHostInfoSources(sysfs, module));
  addLine(layout, "notesText", info.notes);
  layout->addSpacing(8);
  addLine(layout, "programVersion", info.programVersion);
  // A module that could not say its name keeps the placeholder line.
  addLine(layout, "moduleVersion", info.moduleLine.empty() ? "DCAM acquisition module" : info.moduleLine);
  addLine(layout, "libraryVersion", info.libraryLine);
  addLine(layout, "tavVersion", info.tavVersion);
  addLine(layout, "coreVersion", info.coreLine);
  addLine(layout, "ohciVersion", info.ohciLine);
  if (!info.problems.empty()) {
    QString text = "What keeps acquisition from working on this machine:";
    for (const std::string& problem : info.problems) text += "\n\u2022 " + QString::fromStdString(problem);
    QLabel* problems = addLine(layout, "problemsText", text.toStdString());
    problems->setStyleSheet("color: #a00000;");
  }
  layout->addStretch(1);
  if (!info.error.empty() && services.prompter) services.prompter->error(this, QString::fromStdString(info.error));
}
