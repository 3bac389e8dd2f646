// A page under test over a module's cameras, driven through its widgets.
#pragma once

#include <QDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

#include <memory>

#include "app/camera_list.h"
#include "support/fake_camera.h"
#include "gui/page_services.h"
#include "gui_test_support.h"

template <typename Page>
struct PageFixture {
  explicit PageFixture(vx_DcamModule& module) : cameras(module) {
    CPageServices services;
    services.cameras = &cameras;
    services.prompter = &prompter;
    page = std::make_unique<Page>(services);
    page->show();
    if (!QTest::qWaitForWindowExposed(page.get())) qWarning("the page was not shown");
  }

  template <typename T>
  T* find(const char* name) const {
    T* widget = page->template findChild<T*>(name);
    if (!widget) qFatal("no widget %s", name);
    return widget;
  }
  QPushButton* button(const char* name) const { return find<QPushButton>(name); }
  QLineEdit* edit(const char* name) const { return find<QLineEdit>(name); }
  void click(const char* name) const { QTest::mouseClick(button(name), Qt::LeftButton); }
  void type(const char* name, const QString& text) const {
    edit(name)->clear();
    QTest::keyClicks(edit(name), text);
  }
  // Focus lives only in the active window; a dialog takes it away.
  void activate() const {
    page->activateWindow();
    if (!QTest::qWaitForWindowActive(page.get())) qWarning("the page did not become active");
  }

  // Picks the camera of the row, or cancels the dialog after clicking it.
  void chooseCamera(int row, bool cancel = false) {
    whenModalDialogRuns([row, cancel](QDialog* dialog) {
      auto* list = dialog->findChild<QListWidget*>("cameraList");
      QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                        list->visualItemRect(list->item(row)).center());
      QTest::mouseClick(dialog->findChild<QPushButton*>(cancel ? "cancelButton" : "okButton"),
                        Qt::LeftButton);
    });
    click("selectButton");
    activate();
  }

  vxCameraList cameras;
  CRecordingPrompter prompter;
  std::unique_ptr<Page> page;
};

// What a report page showed each time its progress bar moved while the
// report was being built.
struct ReportProgressSeen {
  int progress;
  bool textEmpty;
  bool buttonEnabled;  // any of the page's buttons
  bool waitCursor;
};

// Clicks the report page's action button and waits until the page shows the
// outcome; answers what was seen on the way.
template <typename Page>
QList<ReportProgressSeen> runReport(PageFixture<Page>& f, const char* actionName) {
  QSignalSpy finished(f.page.get(), &Page::reportFinished);
  auto* bar = f.template find<QProgressBar>("reportProgress");
  auto* text = f.template find<QPlainTextEdit>("reportText");
  QList<ReportProgressSeen> seen;
  const QMetaObject::Connection watch =
      QObject::connect(bar, &QProgressBar::valueChanged, [&](int value) {
        bool enabled = false;
        for (auto* b : f.page->template findChildren<QPushButton*>()) enabled |= b->isEnabled();
        const QCursor* cursor = QApplication::overrideCursor();
        seen.append({value, text->toPlainText().isEmpty(), enabled,
                     cursor && cursor->shape() == Qt::WaitCursor});
      });
  f.click(actionName);
  if (!finished.wait(30000)) qWarning("the report did not finish");
  QObject::disconnect(watch);
  return seen;
}

// A page over fake cameras; the module is built before the page and goes after it.
struct FakeModuleHolder {
  explicit FakeModuleHolder(int cameraCount) : module(cameraCount) {}
  FakeModule module;
};
template <typename Page>
struct FakePageFixture : FakeModuleHolder, PageFixture<Page> {
  explicit FakePageFixture(int cameraCount) : FakeModuleHolder(cameraCount), PageFixture<Page>(module) {}
};
