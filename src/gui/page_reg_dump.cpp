// CPageRegDump: the register dump report.
#include "gui/page_reg_dump.h"

#include "app/camera_list.h"
#include "utilities/register_dump.h"

CPageRegDump::CPageRegDump(const CPageServices& services, QWidget* parent)
    : CReportPage(
          services, kCaption, "Dump Registers", "dumpButton", "register-dump.txt",
          [](const vxCameraEntry& camera, const vxReportProgress& progress) {
            return vxRegisterDumpBuilder(camera.cameraNumber(), camera.module()).build(progress);
          },
          parent) {}
