// CPageRegRW: reads and writes one camera register by its hexadecimal address.
#include "gui/page_reg_rw.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "acquisition/dcam_registers.h"
#include "app/camera_list.h"
#include "app/register_text.h"
#include "gui/page_widgets.h"
#include "gui/reg_editor.h"
#include "gui/prompter.h"
#include "gui/select_dcam_dlg.h"
#include "regmodel/register_accessor.h"

namespace {

QLineEdit* makeHexEdit(const QString& objectName) {
  auto* edit = new QLineEdit;
  edit->setObjectName(objectName);
  return edit;
}

}  // namespace

CPageRegRW::CPageRegRW(const CPageServices& services, QWidget* parent)
    : QWidget(parent), m_services(services) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  const CCameraRow row = addCameraRow(layout);
  m_cameraName = row.name;
  m_selectButton = row.select;

  auto* grid = new QGridLayout;
  m_addressEdit = makeHexEdit("addressEdit");
  m_valueEdit = makeHexEdit("valueEdit");
  m_readButton = makeButton("Read Register", "readButton");
  m_writeButton = makeButton("Write Register", "writeButton");
  grid->addWidget(new QLabel("Address: "), 0, 0);
  grid->addWidget(new QLabel("0x"), 0, 1);
  grid->addWidget(m_addressEdit, 0, 2);
  grid->addWidget(m_readButton, 0, 3);
  grid->addWidget(new QLabel("Value:"), 1, 0);
  grid->addWidget(new QLabel("0x"), 1, 1);
  grid->addWidget(m_valueEdit, 1, 2);
  grid->addWidget(m_writeButton, 1, 3);
  grid->setColumnStretch(2, 1);
  layout->addLayout(grid);

  auto* resetBox = new QGroupBox("Reset Camera");
  auto* resetLayout = new QHBoxLayout(resetBox);
  m_resetButton = makeButton("Reset", "resetButton");
  resetLayout->addWidget(m_resetButton);
  auto* warning =
      new QLabel("Reset the DCAM to its default power on state. Warning, use this with caution.");
  warning->setWordWrap(true);
  resetLayout->addWidget(warning, 1);
  layout->addWidget(resetBox);
  auto* editorRow = new QHBoxLayout;
  m_editorButton = makeButton("Register Editor ...", "registerEditorButton");
  m_editorButton->setToolTip("Browse the camera's register map, edit bit fields and watch registers");
  editorRow->addWidget(m_editorButton);
  editorRow->addStretch(1);
  layout->addLayout(editorRow);
  layout->addStretch(1);

  connect(m_selectButton, &QPushButton::clicked, this, &CPageRegRW::selectCamera);
  connect(m_readButton, &QPushButton::clicked, this, &CPageRegRW::readRegister);
  // Enter in the address box reads, so addresses can be typed one after another.
  connect(m_addressEdit, &QLineEdit::returnPressed, this, &CPageRegRW::readRegister);
  connect(m_writeButton, &QPushButton::clicked, this, &CPageRegRW::writeRegister);
  connect(m_resetButton, &QPushButton::clicked, this, &CPageRegRW::resetCamera);
  connect(m_editorButton, &QPushButton::clicked, this, &CPageRegRW::openEditor);

  // Nothing to act on until a camera is chosen.
  m_readButton->setEnabled(false);
  m_writeButton->setEnabled(false);
  m_resetButton->setEnabled(false);
  m_editorButton->setEnabled(false);
  m_cameraName->setText(kPleaseSelectCamera);
}

void CPageRegRW::selectCamera() {
  std::shared_ptr<vxCameraEntry> entry = chooseCameraForPage(m_services, this, m_cameraName);
  if (!entry) return;
  m_selectedCamera = std::move(entry);
  // Once enabled the buttons stay so; a later selection replaces the camera.
  m_readButton->setEnabled(true);
  m_writeButton->setEnabled(true);
  m_resetButton->setEnabled(true);
  m_editorButton->setEnabled(true);
}

void CPageRegRW::openEditor() {
  if (!m_selectedCamera) return;
  openRegisterEditor(*m_selectedCamera, *m_services.prompter, this);
}

std::optional<uint32_t> CPageRegRW::scanBox(QLineEdit* box, const QString& what) {
  const QString firstLine =
      box->text().section('\n', 0, 0).left(static_cast<int>(kRegisterTextLimit));
  const std::optional<uint32_t> number = vxScanRegisterText(firstLine.toStdString());
  if (!number)
    m_services.prompter->error(
        this, QString("The %1 \"%2\" is not a hexadecimal number.").arg(what, firstLine));
  return number;
}

void CPageRegRW::readRegister() {
  if (!m_selectedCamera) return;
  const std::optional<uint32_t> address = scanBox(m_addressEdit, "address");
  if (!address) return;
  uint32_t value = 0;
  bool ok = false;
  try {
    vx_DCAMRegisterAccessorPralix accessor(m_selectedCamera->cameraNumber(),
                                           &m_selectedCamera->module());
    accessor.setOk(true);
    value = accessor.readQuadlet(*address);
    ok = accessor.ok();
  } catch (const vxException&) {
    // The camera is no longer known to the module: a failed read as well.
    ok = false;
  }
  if (!ok) {
    m_services.prompter->error(this, "Register read failed!");
    return;
  }
  m_valueEdit->setText(QString::asprintf("%08X", value));
  // Ready for the next address to be typed over the last one.
  m_addressEdit->selectAll();
  m_addressEdit->setFocus(Qt::OtherFocusReason);
}

void CPageRegRW::writeRegister() {
  if (!m_selectedCamera) return;
  const std::optional<uint32_t> address = scanBox(m_addressEdit, "address");
  if (!address) return;
  const std::optional<uint32_t> value = scanBox(m_valueEdit, "value");
  if (!value) return;
  bool ok = false;
  try {
    vx_DCAMRegisterAccessorPralix accessor(m_selectedCamera->cameraNumber(),
                                           &m_selectedCamera->module());
    accessor.setOk(true);
    ok = accessor.writeQuadlet(*address, *value) && accessor.ok();
  } catch (const vxException&) {
    ok = false;
  }
  if (!ok) m_services.prompter->error(this, "Register write failed!");
}

void CPageRegRW::resetCamera() {
  if (!m_selectedCamera) return;
  // Deliberately silent: the warning beside the button is the only safeguard,
  // and the outcome is not reported either way.
  try {
    // The Initialize flag is INITIALIZE's most significant bit, at the
    // camera's own command register base.
    vxDcamInitialize(m_selectedCamera->module().camera(m_selectedCamera->cameraNumber()));
  } catch (const vxException&) {
  }
}
