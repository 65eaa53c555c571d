// The process: signals, the one instance for each user, quitting.
#include "platform/application.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <QDataStream>
#include <QGuiApplication>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "platform/calls.h"
#include "platform/clock.h"
#include "platform/desktop.h"
#include "platform/fibers.h"
#include "platform/shell.h"
#include "platform/streams.h"
#include "platform/window.h"

namespace gravlin {
namespace {

constexpr int kQuitPollMilliseconds = 20;
constexpr int kQuitPatienceMilliseconds = 10000;
constexpr int kHandOverMilliseconds = 5000;
// A start while another process is ending waits for its end.
constexpr int kStartMilliseconds = kQuitPatienceMilliseconds + 5000;
constexpr int kStartPauseMicroseconds = 50000;

Application* the_application = nullptr;
bool quitting = false;
int exit_status = 0;
int signal_pipe[2] = {-1, -1};

void OnSignal(int) {
  const int error = errno;
  const char byte = 1;
  // A full pipe needs no handling: one byte in it is enough.
  [[maybe_unused]] const ssize_t written = ::write(signal_pipe[1], &byte, 1);
  errno = error;
}

// Holds the lock and the socket of this user's processes: the session's runtime folder, or a
// private folder under the temporary one.
std::string MeetingFolder() {
  const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
  return runtime.isEmpty() ? std::string() : runtime.toStdString();
}

}  // namespace

// A log-out, or another request to the toolkit to quit, becomes Application::Quit.  The question
// before a log-out ("commit data") needs no answer, because a kill loses nothing; to quit there
// would end the download of a user who then cancels.
struct QuitFilter : QObject {
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::Quit) return false;
    Application::Quit();
    return true;
  }
};

struct Application::Native {
  Native(int& argc, char** argv) {
    if (!QCoreApplication::instance()) {
      QCoreApplication::setApplicationName("gravlin");
      toolkit = std::make_unique<QApplication>(argc, argv);
      QApplication::setQuitOnLastWindowClosed(false);
    }
    for (int i = 1; i < argc; ++i) {
      std::error_code none;  // for an empty word, or in a folder that is gone
      const std::string path = std::filesystem::absolute(argv[i], none).lexically_normal().string();
      if (!none) documents << QByteArray::fromStdString(path);
    }
  }

  void WatchSignals() {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, signal_pipe) != 0)
      return;
    notifier = std::make_unique<QSocketNotifier>(signal_pipe[0], QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [] {
      char byte;
      while (::read(signal_pipe[0], &byte, 1) > 0) {
      }
      Quit();
    });
    struct sigaction action {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    qApp->installEventFilter(&quit_filter);
  }

  // True for the one process that holds the lock; it then listens for others.
  bool BecomeTheOne(const std::string& name, Application& application) {
    const std::string folder = MeetingFolder();
    if (folder.empty()) return true;
    const std::string path = folder + "/" + name;
    std::optional<FileHandle> locked = LockFile(FolderItem::FromPath(path + ".lock"));
    if (!locked) return false;
    lock = std::move(*locked);
    const QString socket = QString::fromStdString(path + ".socket");
    QLocalServer::removeServer(socket);
    server = std::make_unique<QLocalServer>();
    server->setSocketOptions(QLocalServer::UserAccessOption);
    QObject::connect(server.get(), &QLocalServer::newConnection, server.get(),
                     [this, &application] { Take(*server->nextPendingConnection(), application); });
    server->listen(socket);
    return true;
  }

  // A second start sends its documents and waits until they are taken; then the window is shown and
  // each document is opened.  Until this start is over nothing is taken, because it may still fail.
  void Take(QLocalSocket& visitor, Application& application) {
    QObject::connect(&visitor, &QLocalSocket::disconnected, &visitor, &QObject::deleteLater);
    const auto soon = [this, guest = QPointer(&visitor), &application] {
      CallSoon([this, guest, &application] {
        if (guest && opened) TakeDocuments(*guest, application);
      });
    };
    QObject::connect(&visitor, &QLocalSocket::readyRead, &visitor, soon);
    soon();  // a quick visitor's documents have arrived already
  }

  void TakeDocuments(QLocalSocket& visitor, Application& application) const {
    QDataStream stream(&visitor);
    stream.startTransaction();
    QByteArrayList handed_over;
    stream >> handed_over;
    if (!stream.commitTransaction() || Quitting()) return;
    // A visitor that waited too long has gone, and tries again.
    if (visitor.state() == QLocalSocket::ConnectedState && visitor.write("+") == 1 &&
        visitor.flush())
      Open(handed_over, application);
  }

  // Takes the documents that came during the start.
  void TakeAll(Application& application) const {
    if (!server) return;
    for (QLocalSocket* visitor : server->findChildren<QLocalSocket*>())
      if (server && !Quitting()) TakeDocuments(*visitor, application);
  }

  void Open(const QByteArrayList& list, Application& application) const {
    const std::vector<Window*> windows = Window::All();
    if (!windows.empty() && !Quitting()) windows.front()->Show();
    for (const QByteArray& path : list) {
      if (Quitting()) return;
      Dispatch("open document",
               [&] { application.Event_OpenDocument(FolderItem::FromPath(path.toStdString())); });
    }
  }

  // False if nobody takes the documents: the other process does not listen yet, or is about to end.
  bool HandOver(const std::string& name) const {
    QLocalSocket socket;
    socket.connectToServer(QString::fromStdString(MeetingFolder() + "/" + name + ".socket"));
    if (!socket.waitForConnected(kHandOverMilliseconds)) return false;
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << documents;
    socket.write(bytes);
    return socket.waitForReadyRead(kHandOverMilliseconds);
  }

  FileHandle lock;
  std::unique_ptr<QApplication> toolkit;
  std::unique_ptr<QSocketNotifier> notifier;
  std::unique_ptr<QLocalServer> server;
  QByteArrayList documents;
  QuitFilter quit_filter;
  bool opened = false;  // the start is over
};

Application::Application(int& argc, char** argv) : native_(std::make_unique<Native>(argc, argv)) {
  the_application = this;
  quitting = false;
}

Application::~Application() {
  EndWork();
  // The end of the toolkit may wait for a name server that does not answer; the next start must
  // not.
  native_->lock.Close();
  the_application = nullptr;
}

void Application::EndWork() {
  EndAllThreads();
  Window::CloseAll();
  // Ends the writers of windows that were open until now; a Quit has closed those and waited.
  EndAllThreads();
  DestroyClosedWindows();
  EndShellChildren();
}

void Application::Event_OpenDocument(const FolderItem&) {}

int Application::RunLoop() {
  native_->WatchSignals();
  // Inside the loop, so that the program can be ended while a box of the start is open.
  CallSoon([this] {
    Dispatch("open", [this] { Event_Open(); });
    native_->opened = true;
    native_->Open(native_->documents, *this);
    native_->TakeAll(*this);
  });
  exit_status = QCoreApplication::exec();
  EndAllThreads();
  return exit_status;
}

int Application::RunAsOnlyInstance(std::string_view name) {
  const std::int64_t start = TheClock().Milliseconds();
  do {
    if (native_->BecomeTheOne(std::string(name), *this)) return RunLoop();
    if (native_->HandOver(std::string(name))) return 0;
    ::usleep(kStartPauseMicroseconds);
  } while (TheClock().Milliseconds() - start < kStartMilliseconds);
  MsgBox("Another Gravlin of yours is running and does not answer.");
  return 1;
}

void Application::Quit() {
  if (!the_application || quitting) return;
  bool refused = false;
  Dispatch("cancel close", [&] { refused = the_application->Event_CancelClose(); });
  if (refused) return;
  quitting = true;
  // From now on a new start waits for the end of this process, and then runs itself.
  the_application->native_->server.reset();
  Window::CloseAll();
  struct Poll {
    static void Turn(std::int64_t start) {
      const std::int64_t now = TheClock().Milliseconds();
      const bool waited_enough = now - start > kQuitPatienceMilliseconds;
      if (the_application && the_application->WorkPending() && !waited_enough)
        CallAt(now + kQuitPollMilliseconds, [start] { Turn(start); });
      else
        QCoreApplication::exit(exit_status);
    }
  };
  CallSoon([start = TheClock().Milliseconds()] { Poll::Turn(start); });
}

bool Application::Quitting() { return quitting; }

void Application::SetExitStatus(int status) { exit_status = status; }

std::unique_ptr<Application> StartToolkit(int& argc, char** argv) {
  return std::make_unique<Application>(argc, argv);
}

}  // namespace gravlin
