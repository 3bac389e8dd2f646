// CPageFormats: the camera capabilities report.
#include "gui/page_formats.h"

#include "app/camera_list.h"
#include "utilities/capabilities_report.h"

CPageFormats::CPageFormats(const CPageServices& services, QWidget* parent)
    : CReportPage(
          services, kCaption, "Get Capabilities", "capabilitiesButton", "camera-capabilities.txt",
          [](const vxCameraEntry& camera, const vxReportProgress& progress) {
            // The report is headed by the name the selection list shows;
            // the vendor comes from the camera's own identity.
            return vxCapabilitiesReportBuilder(camera.cameraNumber(), camera.module(),
                                               camera.displayName())
                .build(progress);
          },
          parent) {}
