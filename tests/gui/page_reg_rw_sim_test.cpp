// The register read/write page on simulated cameras: Reset brings a camera back to its power-on
// values.
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

#include <memory>

#include "gui/page_reg_rw.h"
#include "modules/qrvnvdcam/module.h"
#include "page_fixture.h"
#include "support/test_paths.h"

namespace {

std::unique_ptr<vx_DcamModule> simulate(const std::string& profile) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {profile};
  options.profileDirs = {pralix_test::profilesDir()};
  return std::make_unique<vx_QrvnvDcamModule>(options);
}

}  // namespace

class TestPageRegRWSim : public QObject {
  Q_OBJECT

 private slots:
  // On the usual base and on a camera whose command registers sit elsewhere.
  void resetBringsBackThePowerOnValues_data() {
    QTest::addColumn<QString>("profile");
    QTest::newRow("usual base") << "orbel-ux1600b";
    QTest::newRow("own base") << "mirelle-mo320c";
  }
  void resetBringsBackThePowerOnValues() {
    QFETCH(QString, profile);
    auto module = simulate(profile.toStdString());
    PageFixture<CPageRegRW> f(*module);
    f.chooseCamera(0);
    const auto readBack = [&f](const char* address) {
      f.type("addressEdit", address);
      f.click("readButton");
      return f.edit("valueEdit")->text();
    };
    const QString brightness = readBack("800");
    const QString mode = readBack("604");

    // Change the brightness and the video mode through the page.
    f.type("addressEdit", "800");
    f.type("valueEdit", "82000007");
    f.click("writeButton");
    f.type("addressEdit", "604");
    f.type("valueEdit", "60000000");
    f.click("writeButton");
    QVERIFY(f.prompter.messages.isEmpty());
    QCOMPARE(readBack("800"), QString("82000007"));
    QVERIFY(readBack("604") != mode);

    f.click("resetButton");
    QVERIFY(f.prompter.messages.isEmpty());
    QCOMPARE(readBack("800"), brightness);
    QCOMPARE(readBack("604"), mode);
  }
};

QTEST_MAIN(TestPageRegRWSim)
#include "page_reg_rw_sim_test.moc"
