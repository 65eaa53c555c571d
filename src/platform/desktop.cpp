// The real desktop: message boxes, file dialogs, the browser, the file manager, and the room on the
// disk.
#include "platform/desktop.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <QApplication>
#include <QDesktopServices>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QUrl>

#include "platform/fibers.h"
#include "platform/file_types.h"
#include "platform/toolkit_text.h"

namespace gravlin {
namespace {

// The dialog's filter for a registered file type: "NZB files (*.nzb *.NZB)".
QString FilterOf(std::string_view file_type) {
  QStringList patterns;
  for (const FileType* type : FileTypes::kRegistered) {
    if (type->Name != file_type) continue;
    for (QString& extension : ToQt(type->Extensions).remove('.').split(';', Qt::SkipEmptyParts))
      patterns << "*." + extension << "*." + extension.toUpper();
  }
  if (patterns.isEmpty()) return "All files (*)";
  return ToQt(file_type).toUpper() + " files (" + patterns.join(' ') + ")";
}

class RealDesktop : public Desktop {
 public:
  int MsgBox(std::string_view text, int code, std::string_view title) override {
    // The low digit of a code chooses the buttons, the next one the icon.
    const bool can_cancel = (code & 0xf) == 1;
    const int icon = code & 0x70;
    QMessageBox box(QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
    box.setText(ToLines(text));
    box.setWindowTitle(title.empty() ? QString("Gravlin") : ToQt(title));
    box.setIcon(icon == 0x10   ? QMessageBox::Critical
                : icon == 0x30 ? QMessageBox::Warning
                : icon == 0x40 ? QMessageBox::Information
                               : QMessageBox::NoIcon);
    box.setStandardButtons(can_cancel ? QMessageBox::Ok | QMessageBox::Cancel : QMessageBox::Ok);
    box.setDefaultButton(QMessageBox::Ok);
    return box.exec() == QMessageBox::Ok ? 1 : 2;
  }

  FolderItem GetOpenFolderItem(std::string_view file_type, const FolderItem& start) override {
    const QString begin = start.IsNil() ? folder_ : QFile::decodeName(start.NativePath().c_str());
    const QString path = QFileDialog::getOpenFileName(QApplication::activeWindow(), QString(),
                                                      begin, FilterOf(file_type));
    if (path.isEmpty()) return {};
    if (start.IsNil()) folder_ = QFileInfo(path).absolutePath();
    return FolderItem::FromPath(QFile::encodeName(path).toStdString());
  }

  void ShowURL(std::string_view address) override {
    const QUrl url(ToQt(address), QUrl::StrictMode);
    // A file, or a scheme that some program has registered, would be run.
    const bool web = url.scheme() == "http" || url.scheme() == "https";
    if (web && !url.host().isEmpty()) QDesktopServices::openUrl(url);
  }

  void Launch(const FolderItem& item) override {
    // A file is shown in its folder, never opened: it may have come from the net.
    const FolderItem folder = item.IsFolder() ? item : item.Parent();
    if (!folder.IsNil() && folder.IsFolder())
      QDesktopServices::openUrl(
          QUrl::fromLocalFile(QFile::decodeName(folder.NativePath().c_str())));
  }

  void Beep() override { QApplication::beep(); }

 private:
  QString folder_;  // of the last file chosen
};

Desktop*& InForce() {
  static Desktop* desktop = nullptr;
  return desktop;
}

}  // namespace

std::optional<DiskRoom> Desktop::RoomFor(const FolderItem& item) {
  FolderItem there = item;
  while (!there.IsNil() && !there.IsFolder()) there = there.Parent();
  struct statvfs room {};
  struct stat about {};
  // Some network file systems know no sizes.
  if (there.IsNil() || statvfs(there.NativePath().c_str(), &room) != 0 || room.f_blocks == 0 ||
      stat(there.NativePath().c_str(), &about) != 0)
    return std::nullopt;
  return DiskRoom{about.st_dev,
                  static_cast<double>(room.f_bavail) * static_cast<double>(room.f_frsize)};
}

Desktop& TheDesktop() {
  static RealDesktop real;
  return InForce() ? *InForce() : real;
}

void SetDesktop(Desktop* desktop) { InForce() = desktop; }

int MsgBox(std::string_view text, int code, std::string_view title) {
  int answer = 0;
  OnMainStack([&] { answer = TheDesktop().MsgBox(text, code, title); });
  return answer;
}

FolderItem GetOpenFolderItem(std::string_view file_type, const FolderItem& start) {
  FolderItem chosen;
  OnMainStack([&] { chosen = TheDesktop().GetOpenFolderItem(file_type, start); });
  return chosen;
}

void ShowURL(std::string_view url) {
  OnMainStack([&] { TheDesktop().ShowURL(url); });
}

void Beep() {
  OnMainStack([] { TheDesktop().Beep(); });
}

}  // namespace gravlin
