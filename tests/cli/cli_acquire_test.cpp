// pralix formats and acquire run as a user runs them, against the simulated cameras' image streams.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>
#include <string>

#include "run_pralix.h"

namespace {

double number(const std::string& text, const std::regex& pattern) {
  std::smatch m;
  if (!std::regex_search(text, m, pattern)) return -1.0;
  return std::stod(m[1].str());
}

nlohmann::json parseJson(const Result& r) {
  try {
    return nlohmann::json::parse(r.out);
  } catch (const nlohmann::json::exception& e) {
    ADD_FAILURE() << e.what() << "\n" << r.out << r.err;
    return {};
  }
}

// Ten times real time keeps runs short where the rate does not matter.
const char* kFast = "PRALIX_SIM_TIMESCALE=10";

}  // namespace

TEST(PralixFormats, ListsEachCamerasFormatsByName) {
  Result r = pralix("--simulate=korvane-kv640m formats");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find('\n')), "640x480 Mono 3.75 FPS");
  EXPECT_NE(r.out.find("\n640x480 Mono 60 FPS\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\n640x480 Mono16 30 FPS\n"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("Format7"), std::string::npos) << "the camera has no Format_7";

  r = pralix("--simulate=tessaly-f7flex formats --json");
  ASSERT_EQ(r.status, 0) << r.err;
  const nlohmann::json names = parseJson(r);
  ASSERT_TRUE(names.is_array());
  EXPECT_NE(std::find(names.begin(), names.end(), "Format7 Mode 0 Mono"), names.end()) << r.out;
  // Standard modes come before the Format_7 ones.
  EXPECT_EQ(names.back().get<std::string>().rfind("Format7", 0), 0u) << r.out;

  r = pralix("--simulate=korvane-kv640m formats --camera 3");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("No camera 3"), std::string::npos) << r.err;
}

TEST(PralixAcquire, HundredImagesWithStatisticsAtTheFormatsRate) {
  const Result r =
      pralix("--simulate=korvane-kv640m acquire -n 100 --format \"640x480 Mono\" --stats");
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  // A mode named without its rate takes its fastest rate.
  EXPECT_NE(r.out.find("640x480 Mono 60 FPS"), std::string::npos) << r.out;
  const std::regex statsLine(
      R"(Image [0-9]+: Mean: [0-9.]+   Min: +[0-9]+   Max: +[0-9]+   Mode: [0-9]+   StdDev: [0-9.]+\n)");
  EXPECT_EQ(countMatches(r.out, statsLine), 100) << r.out;
  EXPECT_NE(r.out.find("Image 100: "), std::string::npos);
  EXPECT_NE(r.out.find("Stopped acquisition, 100 images acquired\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Failed acquisitions: 0\n"), std::string::npos) << r.out;
  // The rate itself depends on how busy the machine is; the pacing benchmark
  // measures it. Here only that the summary reports one.
  EXPECT_GT(number(r.out, std::regex(R"(Frame rate: ([0-9.]+) fps)")), 0.0) << r.out;
  const double shortest = number(r.out, std::regex(R"(Shortest acquisition time: ([0-9.]+)ms)"));
  const double longest = number(r.out, std::regex(R"(Longest acquisition time: ([0-9.]+)ms)"));
  EXPECT_GE(shortest, 0.0) << r.out;
  EXPECT_LE(shortest, longest) << r.out;
}

TEST(PralixAcquire, StatisticsFollowTheExposure) {
  auto meanOf = [](const std::string& exposure) {
    const Result r = pralix(
        "--simulate=korvane-kv640m acquire -n 3 --stats --json --exposure " + exposure, kFast);
    EXPECT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = parseJson(r);
    double sum = 0;
    for (const auto& image : j["images"]) {
      EXPECT_TRUE(image["ok"].get<bool>());
      sum += image["stats"]["mean"].get<double>();
    }
    EXPECT_EQ(j["images"].size(), 3u);
    return sum / 3;
  };
  // Shutter units on this camera, which has no absolute control.
  const double dark = meanOf("50");
  const double middle = meanOf("400");
  const double bright = meanOf("1500");
  EXPECT_LT(dark + 20, middle);
  EXPECT_LT(middle + 20, bright);
}

TEST(PralixAcquire, JsonRecordsAndSummary) {
  const Result r = pralix("--simulate=tessaly-f7flex acquire -n 4 --json", kFast);
  ASSERT_EQ(r.status, 0) << r.err;
  const nlohmann::json j = parseJson(r);
  ASSERT_EQ(j["images"].size(), 4u) << r.out;
  for (int i = 0; i < 4; ++i) {
    const auto& image = j["images"][size_t(i)];
    EXPECT_EQ(image["index"], i + 1);
    EXPECT_TRUE(image["ok"].get<bool>());
    EXPECT_TRUE(image["failures"].empty());
    EXPECT_GE(image["time"].get<double>(), 0.0);
    EXPECT_TRUE(image["stats"].is_null()) << "statistics only with --stats";
  }
  const auto& s = j["summary"];
  EXPECT_EQ(s["requested"], 4);
  EXPECT_EQ(s["acquired"], 4);
  EXPECT_EQ(s["failed"], 0);
  EXPECT_EQ(s["timeScale"], 10.0);
  EXPECT_GT(s["rate"].get<double>(), 0.0);
  EXPECT_LE(s["shortestMs"].get<double>(), s["longestMs"].get<double>());
  EXPECT_FALSE(s["interrupted"].get<bool>());
  EXPECT_FALSE(s["unplugged"].get<bool>());
  // The camera's first format is the default.
  const Result formats = pralix("--simulate=tessaly-f7flex formats");
  EXPECT_EQ(j["format"], formats.out.substr(0, formats.out.find('\n')));
}

TEST(PralixAcquire, FormatAndTriggerChoices) {
  Result r =
      pralix("--simulate=korvane-kv640m acquire -n 2 --format \"640x480 MONO 15 fps\"", kFast);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("Camera 0: 640x480 Mono 15 FPS, FreeRun Trigger - Software, 2 acquisitions"),
            std::string::npos)
      << r.out;
  r = pralix("--simulate=korvane-kv640m acquire -n 2 --trigger \"Manual Trigger - Software\"",
             kFast);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("Manual Trigger - Software"), std::string::npos) << r.out;
  // Queued starts keep the camera triggered without a start per image.
  r = pralix("--simulate=korvane-kv640m acquire -n 5 --trigger manual --queue-starts", kFast);
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_NE(r.out.find("Stopped acquisition, 5 images acquired"), std::string::npos) << r.out;

  // A format the tables know but the camera lacks is the camera's limit; a
  // name nothing knows is a usage error. Either way the camera's formats are listed.
  r = pralix("--simulate=korvane-kv640m acquire --format \"800x600 Mono\"");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("Video format '800x600 Mono' is not offered by this camera."),
            std::string::npos)
      << r.err;
  EXPECT_NE(r.err.find("  640x480 Mono16 30 FPS\n"), std::string::npos)
      << "the camera's formats are listed";
  r = pralix("--simulate=korvane-kv640m acquire --format \"800x600 Sepia\"");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("Unknown video format '800x600 Sepia'"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("  640x480 Mono16 30 FPS\n"), std::string::npos);
  // Without its rate, RGB VGA takes 30 FPS: at 60 its stream would not fit an S400 bus.
  r = pralix("--simulate=orbel-ux1600b acquire -n 1 --format \"640x480 24bit RGB\"", kFast);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("Camera 0: 640x480 24bit RGB 30 FPS,"), std::string::npos) << r.out;
  EXPECT_NE(r.err.find("30 FPS is the fastest rate of the mode whose stream fits the bus"),
            std::string::npos)
      << r.err;
  // Numbers that are no finite number are refused where they are read.
  for (const char* bad : {"--timeout nan", "--timeout inf", "--exposure nan", "--exposure -inf"}) {
    r = pralix(std::string("--simulate=korvane-kv640m acquire -n 1 ") + bad);
    EXPECT_EQ(r.status, 2) << bad;
    EXPECT_NE(r.err.find("must be a number"), std::string::npos) << bad << "\n" << r.err;
  }
  // An exposure beyond the camera's range: the command line takes the nearest and says so.
  r = pralix("--simulate=korvane-kv640m acquire -n 1 --exposure 9000", kFast);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.err.find("the exposure 9000 lies outside the camera's 1 to 2047; using 2047."),
            std::string::npos)
      << r.err;
  r = pralix("--simulate=korvane-kv640m acquire --trigger sometimes");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("FreeRun Trigger - Software"), std::string::npos) << r.err;
  r = pralix("--simulate=korvane-kv640m acquire -n 0");
  EXPECT_EQ(r.status, 2);
  r = pralix("acquire --sim-unplug-after 2");
  EXPECT_EQ(r.status, 1) << "no camera at all";
}

TEST(PralixAcquire, FailuresAreReportedInTheWindowsWords) {
  // Nothing fires the hardware trigger, so every acquisition times out.
  Result r = pralix("--simulate=korvane-kv640m acquire -n 2 --trigger auto --timeout 0.1");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(
      r.out.find(
          "Acquire 1 failed:\n  isTimeOut error #1\nAcquire 2 failed:\n  isTimeOut error #2\n"),
      std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("Stopped acquisition, 0 images acquired"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Failed acquisitions: 2"), std::string::npos) << r.out;

  // An RGB stream at 60 fps does not fit on an S400 bus.
  r = pralix("--simulate=orbel-ux1600b acquire -n 1 --format \"640x480 24bit RGB 60 FPS\" --json",
             kFast);
  EXPECT_EQ(r.status, 1);
  const nlohmann::json j = parseJson(r);
  ASSERT_EQ(j["images"].size(), 1u) << r.out;
  EXPECT_FALSE(j["images"][0]["ok"].get<bool>());
  EXPECT_EQ(j["images"][0]["failures"], nlohmann::json({"isTiming (bandwidth) error"})) << r.out;
  EXPECT_EQ(j["summary"]["failed"], 1);
}

TEST(PralixAcquire, UnplugEndsTheRunWithTheFailureAndStatusOne) {
  // Without a prompt end the run would take half an hour; the limit turns a
  // hang into status 124.
  Result r = pralix(
      "--simulate=korvane-kv640m acquire -n 100000 --format \"640x480 Mono\" --sim-unplug-after 3",
      "", 10);
  EXPECT_EQ(r.status, 1) << r.out << r.err;
  // The unplug either fails the frame in flight with the event's flags or
  // comes before the next start, which the camera refuses.
  EXPECT_TRUE(std::regex_search(
      r.out, std::regex("Acquire [4-9] failed:\n  (isAbnormal error 1, #[4-9]|The camera has left "
                        "the bus\\.)\n")))
      << r.out;
  EXPECT_NE(r.out.find("Warning: the camera has been unplugged!"), std::string::npos) << r.out;
  EXPECT_TRUE(std::regex_search(r.out, std::regex("Stopped acquisition, [3-8] images acquired")))
      << r.out;

  r = pralix("--simulate=korvane-kv640m acquire -n 100000 --sim-unplug-after 2 --json", kFast, 10);
  EXPECT_EQ(r.status, 1) << r.err;
  const nlohmann::json j = parseJson(r);
  EXPECT_TRUE(j["summary"]["unplugged"].get<bool>());
  EXPECT_EQ(j["summary"]["failed"], 1);
  ASSERT_FALSE(j["images"].empty());
  EXPECT_FALSE(j["images"].back()["ok"].get<bool>());
  const nlohmann::json failures = j["images"].back()["failures"];
  EXPECT_TRUE(failures == nlohmann::json({"isAbnormal error 1"}) ||
              failures == nlohmann::json({"The camera has left the bus."}))
      << r.out;
}

TEST(PralixAcquire, CtrlCStopsAndStillPrintsTheSummary) {
  Result r = pralixInterrupted("--simulate=korvane-kv640m acquire -n 100000 --stats", 3.0);
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_NE(r.out.find("Interrupted.\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Failed acquisitions: 0\n"), std::string::npos) << r.out;
  const double acquired = number(r.out, std::regex("Stopped acquisition, ([0-9]+) images acquired"));
  EXPECT_GE(acquired, 3) << r.out;
  EXPECT_LT(acquired, 100000) << r.out;

  // Interrupted while waiting for a hardware trigger that never comes: the
  // cancelled wait is no failure.
  r = pralixInterrupted("--simulate=korvane-kv640m acquire --trigger auto --timeout 1000 --json", 3.0);
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  nlohmann::json j = parseJson(r);
  EXPECT_TRUE(j["summary"]["interrupted"].get<bool>());
  EXPECT_EQ(j["summary"]["failed"], 0);
  EXPECT_TRUE(j["images"].empty());

  // A failure before the interrupt makes the status 1.
  r = pralixInterrupted("--simulate=korvane-kv640m acquire -n 100000 --trigger semi --timeout 0.05", 3.0);
  EXPECT_EQ(r.status, 1) << r.out << r.err;
  EXPECT_NE(r.out.find("isTimeOut error #2"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Interrupted.\n"), std::string::npos) << r.out;
}

TEST(PralixAcquire, SavesTheLastImage) {
  // The PGM holds the last image's grey levels: its mean is the statistics' mean.
  const std::string pgm = tempPath("last.pgm");
  Result r = pralix("--simulate=korvane-kv640m acquire -n 3 --stats --json --save " + pgm, kFast);
  ASSERT_EQ(r.status, 0) << r.err;
  const nlohmann::json j = parseJson(r);
  EXPECT_EQ(j["summary"]["saved"], pgm);
  const std::string file = readFile(pgm);
  const std::string header = "P5\n640 480\n255\n";
  ASSERT_EQ(file.size(), header.size() + 640 * 480);
  EXPECT_EQ(file.substr(0, header.size()), header);
  double sum = 0;
  for (size_t i = header.size(); i < file.size(); ++i) sum += static_cast<unsigned char>(file[i]);
  EXPECT_NEAR(sum / (640 * 480), j["images"].back()["stats"]["mean"].get<double>(), 1e-6);

  // Colour as PPM.
  const std::string ppm = tempPath("last.ppm");
  r = pralix(
      "--simulate=orbel-ux1600b acquire -n 1 --format \"640x480 YUV(4:2:2) 15 FPS\" --save " + ppm,
      kFast);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("Saved image 1 to " + ppm), std::string::npos) << r.out;
  EXPECT_EQ(readFile(ppm).size(), std::string("P6\n640 480\n255\n").size() + 3 * 640 * 480);

  const std::string png = tempPath("last.png");
  r = pralix("--simulate=korvane-kv640m acquire -n 1 --save " + png, kFast);
#ifdef PRALIX_CLI_HAVE_QT
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(readFile(png).substr(0, 8), "\x89PNG\r\n\x1a\n");
#else
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("built without Qt"), std::string::npos) << r.err;
#endif

  // A file that cannot be written is refused before acquiring, or fails at the end.
  r = pralix("--simulate=korvane-kv640m acquire -n 1 --save " + tempPath("x.nosuchformat"), kFast);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "") << "nothing was acquired";
  r = pralix("--simulate=korvane-kv640m acquire -n 1 --save /nonexistent-dir/x.pgm", kFast);
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("Cannot write /nonexistent-dir/x.pgm"), std::string::npos) << r.err;
  // Nothing acquired, nothing saved.
  r = pralix("--simulate=korvane-kv640m acquire -n 1 --trigger auto --timeout 0.05 --save " +
             tempPath("none.pgm"));
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("nothing saved"), std::string::npos) << r.err;
}
