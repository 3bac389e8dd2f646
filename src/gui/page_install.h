// CPageInstall: the DCAM devices the kernel sees and whether this user can reach each.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class QLabel;
class QTreeWidget;

class CPageInstall : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "Diagnostic Utlities::Driver Install";

  explicit CPageInstall(const CPageServices& services, QWidget* parent = nullptr);

  // The number of scans made, for those who check when the page rescans.
  int scanCount() const { return m_scans; }

 public slots:
  // Empties the list and scans again.
  void rescan();
  // Shows the udev rule and group command that give this user access.
  void showPermissions();

 protected:
  // The page rescans whenever it becomes active again: cameras come and go.
  void showEvent(QShowEvent* event) override;

 private:
  CPageServices m_services;
  QTreeWidget* m_list;
  QLabel* m_status;
  int m_scans = 0;
  bool m_shownOnce = false;
};
