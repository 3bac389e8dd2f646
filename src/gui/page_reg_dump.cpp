// CPageRegDump: the register dump report.
#include "gui/page_reg_dump.h"

#include <QLabel>
#include <QVBoxLayout>

#include "app/camera_list.h"
#include "utilities/register_dump.h"

CPageRegDump::CPageRegDump(const CPageServices& services, QWidget* parent)
    : CReportPage(
          services, kCaption, "Dump Registers", "dumpButton", "register-dump.txt",
          [](const vxCameraEntry& camera, const vxReportProgress& progress) {
            return vxRegisterDumpBuilder(camera.cameraNumber(), camera.module()).build(progress);
          },
          parent) {
  // The user is told what the dump will leave changed before pressing the button.
  auto* warning = new QLabel(QString("Warning: ") + vxRegisterDumpBuilder::changesWarning());
  warning->setObjectName("dumpWarning");
  warning->setWordWrap(true);
  if (auto* box = qobject_cast<QVBoxLayout*>(layout()))
    box->insertWidget(box->count() - 1, warning);
}
