// CPageRegRW: reads and writes one camera register by its hexadecimal address.
#pragma once

#include <QWidget>

#include <cstdint>
#include <memory>
#include <optional>

#include "gui/page_services.h"

class QLineEdit;
class QPushButton;
class vxCameraEntry;

class CPageRegRW : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "DCAM Utilites::Register Read/Write";

  explicit CPageRegRW(const CPageServices& services, QWidget* parent = nullptr);

  const std::shared_ptr<vxCameraEntry>& selectedCamera() const { return m_selectedCamera; }

 public slots:
  void selectCamera();
  void readRegister();
  void writeRegister();
  void resetCamera();
  // Opens a register editor on the selected camera.
  void openEditor();

 private:
  // The number in a box, scanned from its first 16 characters; reports a box
  // that holds no hexadecimal number and answers nullopt.
  std::optional<uint32_t> scanBox(QLineEdit* box, const QString& what);

  CPageServices m_services;
  std::shared_ptr<vxCameraEntry> m_selectedCamera;
  QLineEdit* m_cameraName;
  QPushButton* m_selectButton;
  QLineEdit* m_addressEdit;
  QLineEdit* m_valueEdit;
  QPushButton* m_readButton;
  QPushButton* m_writeButton;
  QPushButton* m_resetButton;
  QPushButton* m_editorButton;
};
