// A window of the wizard's size with nothing in it, or with one line of text (the first argument): the floors
// that the wizard's start and memory are compared with.

#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QWidget window;
  if (argc > 1) {
    new QLabel(QString::fromLocal8Bit(argv[1]), &window);
  }
  window.resize(560, 360);
  window.show();
  return QApplication::exec();
}
