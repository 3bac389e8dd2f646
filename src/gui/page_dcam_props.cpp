// CPageDCAMProps: switches and sets the camera's DCAM features.
#include "gui/page_dcam_props.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <exception>
#include <string>
#include <thread>

#include "app/camera_list.h"
#include "gui/page_widgets.h"
#include "gui/prompter.h"
#include "gui/select_dcam_dlg.h"
#include "regmodel/register_accessor.h"
#include "utilities/feature_props.h"

namespace {

// The value boxes are read up to this many characters.
constexpr int kValueTextLimit = 20;

QLineEdit* makeEdit(const QString& objectName, bool readOnly) {
  auto* edit = new QLineEdit;
  edit->setObjectName(objectName);
  if (readOnly) markReadOnly(edit);
  return edit;
}

QString integerText(uint32_t value) {
  return QString::asprintf("%d", static_cast<int>(value));
}

QString absoluteText(float value) {
  return QString::asprintf("%4.3f", static_cast<double>(value));
}

// Where a number may start: past leading blanks.
size_t skipBlanks(const std::string& text) {
  size_t at = 0;
  while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
  return at;
}

}  // namespace

int CPageDCAMProps::lenientInt(const QString& text) {
  const std::string s = text.toStdString();
  size_t at = skipBlanks(s);
  bool negative = false;
  if (at < s.size() && (s[at] == '+' || s[at] == '-')) negative = s[at++] == '-';
  // Digits beyond what an int holds saturate, as the C conversion does.
  constexpr long long kLimit = static_cast<long long>(INT_MAX) + 1;
  long long magnitude = 0;
  for (; at < s.size() && std::isdigit(static_cast<unsigned char>(s[at])); ++at)
    magnitude = std::min(kLimit, magnitude * 10 + (s[at] - '0'));
  if (negative) return static_cast<int>(-magnitude);
  return static_cast<int>(std::min<long long>(magnitude, INT_MAX));
}

float CPageDCAMProps::lenientFloat(const QString& text) {
  // Independent of the locale: the camera's values always use a point.
  const std::string s = text.toStdString();
  size_t at = skipBlanks(s);
  if (at + 1 < s.size() && s[at] == '+' && s[at + 1] != '-' && s[at + 1] != '+') ++at;
  float value = 0.0f;
  const auto [end, error] = std::from_chars(s.data() + at, s.data() + s.size(), value);
  (void)end;
  return error == std::errc() ? value : 0.0f;
}

CPageDCAMProps::CPageDCAMProps(const CPageServices& services, QWidget* parent)
    : QWidget(parent), m_services(services) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  const CCameraRow row = addCameraRow(layout);
  m_cameraName = row.name;
  m_selectButton = row.select;

  auto* body = new QHBoxLayout;
  auto* listColumn = new QVBoxLayout;
  m_featureList = new QListWidget;
  m_featureList->setObjectName("featureList");
  m_featureStatus = new QLabel;
  m_featureStatus->setObjectName("featureStatus");
  m_featureStatus->setWordWrap(true);
  listColumn->addWidget(m_featureList, 1);
  listColumn->addWidget(m_featureStatus);
  body->addLayout(listColumn, 1);

  auto* controls = new QVBoxLayout;
  auto* automatic = new QGroupBox("Automatic Control");
  auto* automaticLayout = new QHBoxLayout(automatic);
  m_onCheck = new QCheckBox("ON");
  m_onCheck->setObjectName("onCheck");
  m_autoCheck = new QCheckBox("Auto");
  m_autoCheck->setObjectName("autoCheck");
  m_onePushButton = makeButton("One Push", "onePushButton");
  automaticLayout->addWidget(m_onCheck);
  automaticLayout->addWidget(m_autoCheck);
  automaticLayout->addWidget(m_onePushButton);
  controls->addWidget(automatic);

  auto* manual = new QGroupBox("Manual Register Control");
  auto* manualLayout = new QGridLayout(manual);
  m_manualLayout = manualLayout;
  m_relativeRadio = new QRadioButton("Value Control");
  m_relativeRadio->setObjectName("relativeRadio");
  m_minEdit = makeEdit("minEdit", true);
  m_maxEdit = makeEdit("maxEdit", true);
  m_valueLabel = new QLabel("Value");
  m_valueLabel->setObjectName("valueLabel");
  m_valueEdit = makeEdit("valueEdit", false);
  m_value2Label = new QLabel;
  m_value2Label->setObjectName("value2Label");
  m_value2Edit = makeEdit("value2Edit", false);
  m_applyButton = makeButton("Apply", "applyButton");
  manualLayout->addWidget(m_relativeRadio, 0, 0, 1, 2);
  manualLayout->addWidget(new QLabel("Min"), 1, 0);
  manualLayout->addWidget(m_minEdit, 1, 1);
  manualLayout->addWidget(new QLabel("Max"), 2, 0);
  manualLayout->addWidget(m_maxEdit, 2, 1);
  manualLayout->addWidget(m_valueLabel, 3, 0);
  manualLayout->addWidget(m_valueEdit, 3, 1);
  manualLayout->addWidget(m_value2Label, 4, 0);
  manualLayout->addWidget(m_value2Edit, 4, 1);
  manualLayout->addWidget(m_applyButton, 5, 1);
  manualLayout->setColumnStretch(1, 1);
  controls->addWidget(manual);

  auto* absolute = new QGroupBox("Absolute Control");
  auto* absoluteLayout = new QVBoxLayout(absolute);
  m_absoluteRadio = new QRadioButton("Absolute");
  m_absoluteRadio->setObjectName("absoluteRadio");
  absoluteLayout->addWidget(m_absoluteRadio);
  controls->addWidget(absolute);
  controls->addStretch(1);
  body->addLayout(controls, 1);
  layout->addLayout(body, 1);

  // The two radios sit in different groups yet choose one mode between them.
  m_modeGroup = new QButtonGroup(this);
  m_modeGroup->addButton(m_relativeRadio);
  m_modeGroup->addButton(m_absoluteRadio);
  m_relativeRadio->setChecked(true);

  connect(m_selectButton, &QPushButton::clicked, this, &CPageDCAMProps::selectCamera);
  connect(m_featureList, &QListWidget::currentRowChanged, this, &CPageDCAMProps::showFeature);
  connect(m_onCheck, &QCheckBox::clicked, this, &CPageDCAMProps::switchOn);
  connect(m_autoCheck, &QCheckBox::clicked, this, &CPageDCAMProps::switchAuto);
  connect(m_onePushButton, &QPushButton::clicked, this, &CPageDCAMProps::startOnePush);
  connect(m_relativeRadio, &QRadioButton::clicked, this, &CPageDCAMProps::useRelative);
  connect(m_absoluteRadio, &QRadioButton::clicked, this, &CPageDCAMProps::useAbsolute);
  connect(m_applyButton, &QPushButton::clicked, this, &CPageDCAMProps::apply);
  // Enter in a value box applies it, as the Apply button does.
  connect(m_valueEdit, &QLineEdit::returnPressed, this, &CPageDCAMProps::apply);
  connect(m_value2Edit, &QLineEdit::returnPressed, this, &CPageDCAMProps::apply);

  m_cameraName->setText(kPleaseSelectCamera);
  m_featureList->setEnabled(false);
  showFeature();
}

CPageDCAMProps::~CPageDCAMProps() = default;

void CPageDCAMProps::guarded(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::exception& e) {
    m_services.prompter->error(this, QString::fromStdString(e.what()));
  }
}

void CPageDCAMProps::settle() const {
  if (m_settleTime.count() > 0) std::this_thread::sleep_for(m_settleTime);
}

const CPageDCAMProps::Listed* CPageDCAMProps::current() const {
  const int row = m_featureList->currentRow();
  if (row < 0 || static_cast<size_t>(row) >= m_listed.size()) return nullptr;
  return &m_listed[static_cast<size_t>(row)];
}

void CPageDCAMProps::selectCamera() {
  std::shared_ptr<vxCameraEntry> entry = chooseCameraForPage(m_services, this, m_cameraName);
  if (!entry) return;
  m_selectedCamera = std::move(entry);

  // The records of the last camera go before the camera access they use.
  m_featureList->clear();
  m_listed.clear();
  m_featureSet.reset();
  m_accessor = std::make_unique<vx_DCAMRegisterAccessorPralix>(m_selectedCamera->cameraNumber(),
                                                               &m_selectedCamera->module());
  m_featureSet = std::make_unique<DcamFeatureSet>(*m_accessor);
  m_featureList->setEnabled(true);
  listFeatures();
  fitToFeatures();
  showFeature();
}

void CPageDCAMProps::listFeatures() {
  // Features the camera lacks are simply not offered. One register that does
  // not answer does not end the list: the feature is listed, marked.
  for (size_t i = 0; i < m_featureSet->size(); ++i) {
    DcamFeature& feature = m_featureSet->feature(i);
    const DcamFeatureInfo& info = m_featureSet->info(i);
    QString failure;
    try {
      if (!feature.present()) continue;
      // The registers every display of the feature reads.
      feature.onOffInquiry();
      feature.isOn();
    } catch (const std::exception& e) {
      failure = QString::fromStdString(e.what());
    }
    m_listed.push_back({&feature, info.fieldCount, info.valueLabels, info.listedName});
    auto* item =
        new QListWidgetItem(failure.isEmpty() ? QString(info.listedName)
                                              : QString("%1 (read failed)").arg(info.listedName));
    if (!failure.isEmpty()) item->setToolTip(failure);
    m_featureList->addItem(item);
  }
}

void CPageDCAMProps::fitToFeatures() {
  // The feature names are read whole, and the labels' column is as wide as
  // the widest label of any feature, so that the value boxes stay in one
  // place whichever feature is shown.
  const QFontMetrics listMetrics(m_featureList->font());
  int widestName = 0;
  for (int row = 0; row < m_featureList->count(); ++row)
    widestName = std::max(widestName, listMetrics.horizontalAdvance(m_featureList->item(row)->text()));
  m_featureList->setMinimumWidth(widestName + 2 * m_featureList->frameWidth() +
                                 4 * listMetrics.averageCharWidth() +
                                 style()->pixelMetric(QStyle::PM_ScrollBarExtent));
  const QFontMetrics labelMetrics(m_valueLabel->font());
  int widestLabel = std::max(labelMetrics.horizontalAdvance("Min"), labelMetrics.horizontalAdvance("Value"));
  for (const Listed& listed : m_listed) {
    widestLabel = std::max(widestLabel, labelMetrics.horizontalAdvance(listed.labels));
    for (const QString& part : listed.labels.split(';'))
      widestLabel = std::max(widestLabel, labelMetrics.horizontalAdvance(part));
  }
  m_manualLayout->setColumnMinimumWidth(0, widestLabel + labelMetrics.averageCharWidth());
}

void CPageDCAMProps::closeControls() {
  m_editable = false;
  for (QWidget* control : std::initializer_list<QWidget*>{
           m_onCheck, m_autoCheck, m_onePushButton, m_relativeRadio, m_absoluteRadio, m_minEdit,
           m_maxEdit, m_valueEdit, m_value2Edit, m_applyButton})
    control->setEnabled(false);
}

void CPageDCAMProps::showFeature() {
  // Everything closed first; what the feature allows is opened below.
  closeControls();
  m_valueLabel->setVisible(false);
  m_value2Label->setVisible(false);
  m_featureStatus->clear();
  const Listed* listed = current();
  m_value2Edit->setVisible(listed && listed->fieldCount > 1);
  if (!listed) return;

  // A feature that cannot be read says why beside the list and stays closed;
  // the other features stay usable.
  try {
    DcamFeature& feature = *listed->feature;
    const bool on = feature.isOn();
    const bool automatic = feature.isAuto();
    m_onCheck->setChecked(on);
    m_onCheck->setEnabled(feature.onOffInquiry());
    m_autoCheck->setChecked(automatic);
    m_autoCheck->setEnabled(on && feature.autoInquiry());
    const bool absolutePossible = feature.absInquiry();
    const bool absolute = absolutePossible && feature.absControl();
    (absolute ? m_absoluteRadio : m_relativeRadio)->setChecked(true);

    // A feature that is off, or that the camera drives itself, shows its
    // values but takes none.
    if (on && !automatic) {
      if (feature.manualInquiry()) {
        m_editable = true;
        m_relativeRadio->setEnabled(true);
        m_absoluteRadio->setEnabled(absolutePossible);
        m_valueLabel->setVisible(true);
        m_minEdit->setEnabled(true);
        m_maxEdit->setEnabled(true);
        m_valueEdit->setEnabled(true);
        m_applyButton->setEnabled(true);
      }
      m_onePushButton->setEnabled(feature.onePushInquiry());
    }
    showValues(*listed);
  } catch (const std::exception& e) {
    closeControls();
    m_featureStatus->setText(QString("%1: %2").arg(listed->name, QString::fromStdString(e.what())));
  }
}

void CPageDCAMProps::showValues(const Listed& listed) {
  DcamFeature& feature = *listed.feature;
  const bool twoBoxes = listed.fieldCount > 1;
  if (!m_relativeRadio->isChecked()) {
    m_minEdit->setText(absoluteText(feature.absMin()));
    m_maxEdit->setText(absoluteText(feature.absMax()));
    m_valueEdit->setText(absoluteText(feature.absValue()));
    // The absolute value is one number, whatever the register fields are.
    m_valueLabel->setText(listed.labels);
    m_value2Edit->clear();
    m_value2Edit->setEnabled(false);
    m_value2Label->setVisible(false);
    return;
  }
  m_minEdit->setText(integerText(feature.minValue()));
  m_maxEdit->setText(integerText(feature.maxValue()));
  m_valueEdit->setText(integerText(feature.value()));
  if (twoBoxes) {
    // Only two boxes exist: a three-field feature (White Shading) shows its
    // first field in the first and the second field under the remaining labels.
    m_valueLabel->setText(listed.labels.section(';', 0, 0));
    m_value2Label->setText(listed.labels.section(';', 1));
    m_value2Edit->setText(integerText(feature.value2()));
  } else {
    m_valueLabel->setText(listed.labels);
    m_value2Edit->clear();
  }
  m_value2Edit->setEnabled(m_editable && twoBoxes);
  m_value2Label->setVisible(m_editable && twoBoxes);
}

void CPageDCAMProps::apply() {
  const Listed* listed = current();
  if (!listed) return;
  guarded([this, listed] {
    DcamFeature& feature = *listed->feature;
    const QString first = m_valueEdit->text().left(kValueTextLimit);
    if (m_relativeRadio->isChecked()) {
      feature.setValue(lenientInt(first));
      if (listed->fieldCount > 1)
        feature.setValue2(lenientInt(m_value2Edit->text().left(kValueTextLimit)));
    } else {
      // The conversion reads "nan" and "inf" as numbers; no camera takes them.
      const float value = lenientFloat(first);
      if (!std::isfinite(value)) {
        m_services.prompter->error(this, QString("'%1' is not a finite number.").arg(first));
        return;
      }
      feature.setAbsValue(value);
    }
    settle();
    showValues(*listed);
  });
}

void CPageDCAMProps::startOnePush() {
  const Listed* listed = current();
  if (!listed) return;
  guarded([this, listed] {
    if (listed->feature->onePushInquiry()) listed->feature->setOnePush(true);
    settle();
    showValues(*listed);
  });
}

void CPageDCAMProps::useRelative() {
  const Listed* listed = current();
  if (!listed) return;
  guarded([this, listed] {
    listed->feature->setAbsControl(false);
    showValues(*listed);
  });
}

void CPageDCAMProps::useAbsolute() {
  const Listed* listed = current();
  if (!listed) return;
  guarded([this, listed] {
    listed->feature->setAbsControl(true);
    showValues(*listed);
  });
}

void CPageDCAMProps::switchOn(bool on) {
  const Listed* listed = current();
  if (!listed) return;
  guarded([listed, on] { listed->feature->setOn(on); });
  showFeature();
}

void CPageDCAMProps::switchAuto(bool on) {
  const Listed* listed = current();
  if (!listed) return;
  guarded([this, listed, on] {
    listed->feature->setAuto(on);
    settle();
  });
  showFeature();
}
