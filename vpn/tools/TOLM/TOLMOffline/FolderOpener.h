// Shows a file in the desktop's file manager: over the D-Bus interface org.freedesktop.FileManager1 with
// the file selected, where a program answers to it, else by opening the file's folder.
//
// Main thread only, with an application object. Nothing here waits: the bus is asked, and its answer
// comes through the event loop.

#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <functional>

namespace halvo {

class FolderOpener : public QObject {
 public:
  explicit FolderOpener(QObject* parent = nullptr);

  // Finds out whether a folder can be shown at all, and calls `answer` with that once; not before this
  // returns.
  void find(std::function<void(bool canShow)> answer);
  // Of use once find() has answered with true. What goes wrong is logged as a warning.
  void show(const QString& file);

 private:
  void openFolder(const QString& file);

  // Whether a file manager answers to the interface, or would be started for it.
  bool m_bFileManager = false;
};

}  // namespace halvo
