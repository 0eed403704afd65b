// What Kova costs a program written with Qt, on the platform without a screen: presses, other events and the
// start, each without it and with it in one process; then whole processes of a program that knows nothing of
// it, alone and with the plugin.

#include <Kova/KovaQt.h>
#include <dirent.h>

#include <QDialog>
#include <QProcess>
#include <QTemporaryDir>

#include "bench/BenchQueues.h"
#include "bench/QtForm.h"
#include "platform/qt/QtProxies.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/visualizer/KIScreenshot.h"

namespace {

constexpr int kRuns = 21;
constexpr int kPressesARun = 200;
constexpr int kPressesABurst = 20;
constexpr int kEventsARun = 100'000;
constexpr int kStarts = 7;

// As in touch_bench, what was recorded is written before the next presses come.
double press(bench::QtForm& form, const std::function<void()>& settle) {
  std::vector<double> runs;
  for (int run = 0; run < kRuns; ++run) {
    std::vector<double> times;
    for (int i = 0; i < kPressesARun; ++i) {
      times.push_back(form.mouse(QEvent::MouseButtonPress));
      form.mouse(QEvent::MouseButtonRelease);
      QCoreApplication::processEvents();
      if (i % kPressesABurst == 0) settle();
    }
    runs.push_back(bench::median(times));
  }
  return bench::median(runs);
}

// What was recorded leaves as if time had passed and it had been sent.
void leave(const bench::Queues& queues) {
  kova::mainThread.isHere();
  KovaTracker::sharedTracker()->consumeAllLiveTouches();
  queues.takeMessages();
  queues.takeUrls();
}

// Nanoseconds of an event that nobody waits for.
double otherEvent(QWidget& widget) {
  std::vector<double> runs;
  for (int run = 0; run < kRuns; ++run) {
    QEvent event(QEvent::User);
    const auto start = bench::Clock::now();
    for (int i = 0; i < kEventsARun; ++i) QCoreApplication::sendEvent(&widget, &event);
    runs.push_back(bench::secondsSince(start) * 1e9 / kEventsARun);
  }
  return bench::median(runs);
}

double picture() {
  kova::mainThread.isHere();
  std::vector<double> times;
  for (int run = 0; run < kRuns; ++run) {
    const auto start = bench::Clock::now();
    if (!KIScreenshot::captureScreenWithHighQuality(KIScreenshot::Quality::High)) std::abort();
    times.push_back(bench::secondsSince(start) * 1e3);
  }
  return bench::median(times);
}

int openDescriptors() {
  DIR* const folder = opendir("/proc/self/fd");
  int count = -1;  // the folder's own
  while (const dirent* const entry = readdir(folder)) count += entry->d_name[0] != '.';
  closedir(folder);
  return count;
}

KovaQtOptions nowhere() {
  KovaQtOptions options;
  options.captureUrl = QUrl("http://127.0.0.1:9/");
  return options;
}

int startOnce() {
  const bench::QtForm form;
  const auto start = bench::Clock::now();
  KovaQt::start(bench::kEnvironment, nowhere());
  std::printf("%f\n", bench::secondsSince(start) * 1e3);
  return KovaQt::userId() ? 0 : 1;
}

// Every tenth click opens a dialog, which is closed and deleted.
int clickLong() {
  bench::QtForm form;
  KovaQt::start(bench::kEnvironment, nowhere());
  const bench::Queues queues;
  auto clickTo = [&, clicks = 0](int last) mutable {
    for (; clicks < last; ++clicks) {
      form.click();
      if (clicks % 20 == 0) leave(queues);
      if (clicks % 10 != 0) continue;
      QDialog dialog(&form);
      new QLabel("Sure?", &dialog);
      dialog.show();
      QCoreApplication::processEvents();
    }
    leave(queues);
    std::printf("%f %zu %d ", bench::residentMemory(), platform::QtProxies::shared().size(),
                openDescriptors());
  };
  clickTo(1'000);
  clickTo(10'000);
  return 0;
}

std::vector<double> figuresOf(
    const char* program, const QStringList& arguments,
    const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
  QProcess process;
  process.setProcessEnvironment(environment);
  process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  process.start(program, arguments);
  if (!process.waitForFinished(120'000) || process.exitCode() != 0) {
    std::printf("%s %s failed\n", program, qPrintable(arguments.join(u' ')));
    std::exit(1);
  }
  std::vector<double> figures;
  for (const QByteArray& figure : process.readAllStandardOutput().simplified().split(' ')) {
    figures.push_back(figure.toDouble());
  }
  return figures;
}

// Of the figure with that index.
double medianOf(const char* program, const QStringList& arguments, std::size_t index = 0,
                const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
  std::vector<double> figures;
  for (int run = 0; run < kStarts; ++run) {
    figures.push_back(figuresOf(program, arguments, environment).at(index));
  }
  return bench::median(figures);
}

void measureMemory() {
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert("QT_PLUGIN_PATH", KOVA_QT_PLUGINS);
  environment.insert("QT_QPA_GENERIC_PLUGINS", "kova");
  environment.insert("KOVA_RUN_ENV", bench::kEnvironment);
  environment.insert("KOVA_RUN_CAPTURE_URL", "nowhere at all");  // no URL: nothing is ever sent there
  const auto more = [&environment](const char* use, std::size_t index) {
    return (medianOf(KOVA_QT_ALONE, {use}, index, environment) - medianOf(KOVA_QT_ALONE, {use}, index)) /
           1024;
  };
  bench::printLine("resident memory of a program, alone", medianOf(KOVA_QT_ALONE, {"use"}) / 1024, "MB", "-");
  bench::printLine("resident memory with the plugin, before anything is sent", more("use", 0), "MB more",
                   "<= 6");
  bench::printLine("  of it: written by the process, thus its own", more("use", 1), "MB more", "-");
  environment.insert("KOVA_RUN_CAPTURE_URL", "http://127.0.0.1:9/");
  bench::printLine("  once something was to be sent", more("use-longer", 0), "MB more", "<= 6");
  bench::printLine("  of it: written by the process, thus its own", more("use-longer", 1), "MB more", "-");
}

void measureClicks(const char* self) {
  const auto clicks = figuresOf(self, {"clicks"});
  bench::printLine("resident memory, 10,000 clicks less 1,000", (clicks.at(3) - clicks.at(0)) / 1024,
                   "MB more", "<= 1");
  bench::printLine("  live proxies, the same", clicks.at(4) - clicks.at(1), "more", "<= 0");
  bench::printLine("  open descriptors, the same", clicks.at(5) - clicks.at(2), "more", "<= 0");
}

void measureStart(const char* self) {
  bench::printLine("start on an existing store, libraries loaded", medianOf(self, {"start"}), "ms", "<= 3");
  bench::printLine("  loading the plugin and what it needs",
                   medianOf(KOVA_QT_ALONE, {"load", KOVA_QT_PLUGIN}), "ms", "-");
}

void measureHere() {
  bench::QtForm form;
  const double pressBefore = press(form, [] {});
  const double eventBefore = otherEvent(form);
  KovaQt::start(bench::kEnvironment, nowhere());
  QCoreApplication::processEvents();
  const bench::Queues queues;
  const double pressWith = press(form, [&queues] { leave(queues); });
  bench::printLine("a press, without Kova", pressBefore, "us", "-");
  bench::printLine("a press, with it", pressWith - pressBefore, "us more", "<= 12");
  bench::printLine("any other event, without Kova", eventBefore, "ns", "-");
  bench::printLine("any other event, with it", otherEvent(form) - eventBefore, "ns more", "<= 10");
  form.activateWindow();
  QCoreApplication::processEvents();
  bench::printLine("picture of a window of 800 x 600 points", picture(), "ms", "<= 10");
}

}  // namespace

int main(int argc, char** argv) {
  QTemporaryDir folder;  // of the first process, whose environment the others get
  if (argc == 1) {
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"}) {
      qputenv(name, (folder.path() + u'/' + QLatin1String(name)).toUtf8());
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  const QApplication application(argc, argv);
  QCoreApplication::setApplicationName("Bench");
  const std::string part = argc > 1 ? argv[1] : "";
  if (part == "start") return startOnce();
  if (part == "clicks") return clickLong();
  measureHere();
  measureStart(argv[0]);
  measureMemory();
  measureClicks(argv[0]);
}
