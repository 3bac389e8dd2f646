// CSelectDCAMDlg: the dialog in which the user picks one camera of the list.
#include "gui/select_dcam_dlg.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>

#include "app/camera_list.h"
#include "app/camera_selection.h"
#include "gui/page_services.h"
#include "gui/prompter.h"
#include "regmodel/camera_access.h"

CSelectDCAMDlg::CSelectDCAMDlg(vxCameraList& cameras, CPrompter& prompter, bool exclusive,
                               QWidget* parent)
    : QDialog(parent), m_cameras(cameras), m_prompter(prompter), m_exclusive(exclusive) {
  setWindowTitle("Select DCAM");
  setSizeGripEnabled(true);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(new QLabel("DCAM cameras:"));
  m_list = new QListWidget;
  m_list->setObjectName("cameraList");
  layout->addWidget(m_list, 1);
  m_emptyText = new QLabel(kNoCamerasText);
  m_emptyText->setObjectName("noCamerasText");
  m_emptyText->setWordWrap(true);
  layout->addWidget(m_emptyText, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  buttons->button(QDialogButtonBox::Ok)->setObjectName("okButton");
  buttons->button(QDialogButtonBox::Cancel)->setObjectName("cancelButton");
  connect(buttons, &QDialogButtonBox::accepted, this, &CSelectDCAMDlg::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &CSelectDCAMDlg::reject);
  connect(m_list, &QListWidget::itemDoubleClicked, this, &CSelectDCAMDlg::accept);
  layout->addWidget(buttons);

  for (const auto& entry : cameras.entries()) {
    const std::string text = vxSelectionListText(entry->displayName(), isResponding(*entry),
                                                 m_exclusive, entry->hasAcquisitionWindow());
    m_list->addItem(QString::fromStdString(text));
  }
  m_list->setVisible(cameras.size() != 0);
  m_emptyText->setVisible(cameras.size() == 0);
  fitListToItems();
  const int initial = vxInitialSelection(cameras.size());
  if (initial >= 0)
    m_list->setCurrentRow(initial);
  else
    m_list->setCurrentRow(-1, QItemSelectionModel::Clear);
}

void CSelectDCAMDlg::fitListToItems() {
  // A camera's name, its GUID and the " (not-responding)" mark after them are
  // what the user picks by: the list is as wide as its longest line (up to
  // most of the screen), and the dialog, which may be made larger, follows.
  const QFontMetrics metrics(m_list->font());
  int widest = 0;
  for (int row = 0; row < m_list->count(); ++row)
    widest = std::max(widest, metrics.horizontalAdvance(m_list->item(row)->text()));
  const int margins = 2 * m_list->frameWidth() + 4 * m_list->spacing() + metrics.averageCharWidth() * 2 +
                      style()->pixelMetric(QStyle::PM_ScrollBarExtent);
  int limit = 1600;
  if (const QScreen* shown = screen()) limit = shown->availableGeometry().width() * 9 / 10;
  m_list->setMinimumWidth(std::min(limit, std::max(kMinimumListWidth, widest + margins)));
  const int rows = std::clamp(m_list->count(), 3, 12);
  m_list->setMinimumHeight(rows * std::max(metrics.height(), m_list->sizeHintForRow(0)) +
                           2 * m_list->frameWidth());
}

bool CSelectDCAMDlg::isResponding(const vxCameraEntry& entry) const {
  return vxIsCameraResponding(m_cameras.module(), entry.cameraNumber(), entry.isUnplugged());
}

std::shared_ptr<vxCameraEntry> CSelectDCAMDlg::selectedEntry() const {
  if (m_selected < 0 || static_cast<size_t>(m_selected) >= m_cameras.size()) return nullptr;
  return m_cameras.entry(static_cast<size_t>(m_selected));
}

void CSelectDCAMDlg::accept() {
  const QList<QListWidgetItem*> chosen = m_list->selectedItems();
  const int row = chosen.isEmpty() ? -1 : m_list->row(chosen.first());
  bool responding = false;
  bool inUse = false;
  if (row >= 0 && static_cast<size_t>(row) < m_cameras.size()) {
    // Asked again now: the camera may have gone since the list was filled.
    const vxCameraEntry& entry = *m_cameras.entry(static_cast<size_t>(row));
    responding = isResponding(entry);
    inUse = entry.hasAcquisitionWindow();
  }
  const vxSelectionOutcome outcome =
      vxSelectionOnOk(m_cameras.size(), row, m_exclusive, responding, inUse);
  switch (outcome) {
    case vxSelectionOutcome::CloseEmpty:
      m_selected = -1;
      QDialog::accept();
      return;
    case vxSelectionOutcome::Accept:
      m_selected = row;
      QDialog::accept();
      return;
    case vxSelectionOutcome::NothingSelected:
    case vxSelectionOutcome::NotAvailable:
    case vxSelectionOutcome::Unplugged:
      m_prompter.error(this, QString::fromStdString(vxSelectionMessage(outcome)));
      return;
  }
}

std::shared_ptr<vxCameraEntry> chooseCameraForPage(const CPageServices& services, QWidget* page,
                                                   QLineEdit* cameraName) {
  CSelectDCAMDlg dialog(*services.cameras, *services.prompter, false, page);
  if (dialog.exec() != QDialog::Accepted) return nullptr;
  std::shared_ptr<vxCameraEntry> entry = dialog.selectedEntry();
  if (entry) cameraName->setText(QString::fromStdString(entry->displayName()));
  return entry;
}
