// A bare window of the wizard's size: the floor that the wizard's start and memory are compared with.

#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QWidget window;
  window.resize(560, 360);
  window.show();
  return QApplication::exec();
}
