// CPageDCAMProps: switches and sets the camera's DCAM features.
#pragma once

#include <QString>
#include <QWidget>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "gui/page_services.h"

class QButtonGroup;
class QCheckBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class DcamFeature;
class DcamFeatureSet;
class vxCameraEntry;
class vx_DCAMRegisterAccessorPralix;

// Every action reads the feature back from the camera and redraws, so the
// page shows what the camera holds rather than what was typed.
class CPageDCAMProps : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "DCAM Utilites::DCAM Properties";
  // How long the camera is given to settle after a value, a one-push or a
  // change of automatic mode before the feature is read back.
  static constexpr std::chrono::milliseconds kSettleTime{250};

  explicit CPageDCAMProps(const CPageServices& services, QWidget* parent = nullptr);
  ~CPageDCAMProps() override;

  const std::shared_ptr<vxCameraEntry>& selectedCamera() const { return m_selectedCamera; }
  void setSettleTime(std::chrono::milliseconds time) { m_settleTime = time; }

  // Numbers read the way the C library's conversions read them: leading
  // blanks, an optional sign, as much of a number as there is; text that is
  // no number is 0.
  static int lenientInt(const QString& text);
  static float lenientFloat(const QString& text);

 public slots:
  void selectCamera();
  void showFeature();
  void apply();
  void startOnePush();
  void useRelative();
  void useAbsolute();
  void switchOn(bool on);
  void switchAuto(bool on);

 private:
  struct Listed {
    DcamFeature* feature;
    int fieldCount;
    QString labels;  // the value boxes' labels, separated by ";"
    QString name;    // as the feature table lists it
  };

  const Listed* current() const;
  // Lists the features of the camera; one whose registers cannot be read is
  // listed all the same, marked, with the reason as its tool tip.
  void listFeatures();
  void closeControls();
  void showValues(const Listed& listed);
  void settle() const;
  void fitToFeatures();
  // Runs a handler's camera work; a failed transfer is reported and leaves
  // the page as it was last drawn.
  void guarded(const std::function<void()>& work);

  CPageServices m_services;
  std::shared_ptr<vxCameraEntry> m_selectedCamera;
  std::unique_ptr<vx_DCAMRegisterAccessorPralix> m_accessor;
  std::unique_ptr<DcamFeatureSet> m_featureSet;
  std::vector<Listed> m_listed;  // one per row of the feature list
  std::chrono::milliseconds m_settleTime = kSettleTime;
  bool m_editable = false;  // the value controls are open to the user

  QLineEdit* m_cameraName;
  QPushButton* m_selectButton;
  QListWidget* m_featureList;
  QLabel* m_featureStatus;  // why the selected feature could not be read
  QCheckBox* m_onCheck;
  QCheckBox* m_autoCheck;
  QPushButton* m_onePushButton;
  QRadioButton* m_relativeRadio;
  QRadioButton* m_absoluteRadio;
  QButtonGroup* m_modeGroup;
  QLineEdit* m_minEdit;
  QLineEdit* m_maxEdit;
  QLabel* m_valueLabel;
  QLineEdit* m_valueEdit;
  QLabel* m_value2Label;
  QLineEdit* m_value2Edit;
  QPushButton* m_applyButton;
  QGridLayout* m_manualLayout = nullptr;
};
