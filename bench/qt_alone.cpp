#include <dlfcn.h>

#include <QEventLoop>
#include <QTimer>

#include "bench/QtForm.h"

// A program that knows nothing of Kova, for the measurements of Qt:
//
//   qt_alone use            clicks a little, and prints how many kilobytes it has in memory, and has written
//   qt_alone use-longer     the same, but goes on for two seconds first
//   qt_alone load LIBRARY   prints the milliseconds that loading the library took
int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QCoreApplication::setApplicationName("Alone");
  if (argc == 3) {
    const auto start = bench::Clock::now();
    const bool isLoaded = dlopen(argv[2], RTLD_NOW) != nullptr;
    std::printf("%f\n", bench::secondsSince(start) * 1e3);
    return isLoaded ? 0 : 1;
  }
  bench::QtForm form;
  for (int i = 0; i < 10; ++i) form.click();
  if (argc == 2 && std::string_view(argv[1]) == "use-longer") {
    QEventLoop more;
    QTimer::singleShot(2000, &more, &QEventLoop::quit);
    more.exec();
  }
  std::printf("%f %f\n", bench::residentMemory(), bench::residentMemory("Private_Dirty:"));
}
