#include "host/cli/filereading.h"

#include "canloghandler/canloghandler.h"
#include "host/cli/progressbar.h"

#include <QPointer>
#include <QThread>

#include <atomic>
#include <csignal>
#include <memory>
#include <optional>

namespace
{

std::atomic<bool> interruptedByUser{false};

void noteInterruption(int)
{
    interruptedByUser = true;
    std::signal(SIGINT, SIG_DFL);
}

/// Takes Ctrl-C for as long as it lives.
class InterruptionGuard
{
public:
    InterruptionGuard()
        : former((interruptedByUser = false, std::signal(SIGINT, noteInterruption)))
    {
    }
    ~InterruptionGuard() { std::signal(SIGINT, former); }

private:
    Q_DISABLE_COPY_MOVE(InterruptionGuard)

    void (*former)(int);
};

} // namespace

FileResult readFile(DatachunkHandler &store, const FileRequest &request, ProgressBar *bar)
{
    // An archive is loaded as a whole or not at all: there Ctrl-C stays what it is.
    std::optional<InterruptionGuard> guard;
    if (request.type != DatachunkHelper::QclZipArchive)
        guard.emplace();
    FileResult result;
    const auto read = [&] {
        QPointer<DatachunkHandler> storePointer(&store);
        // A handler for each file: its error text may otherwise be that of an earlier one.
        CANLogHandler handler(storePointer);
        const auto progress = [bar](qint64 bytesRead, qint64 bytesTotal) {
            if (bar)
                bar->update(bytesRead, bytesTotal);
            if (interruptedByUser)
                QThread::currentThread()->requestInterruption();
        };
        QObject::connect(&handler, &CANLogHandler::importProgress, &handler, progress, Qt::DirectConnection);
        result.ok = handler.loadFile(request.path, request.type, request.text, request.flag);
        result.errorText = handler.getLastErrorText();
        result.report = handler.getImportReport();
    };
    // Only a thread that is not the program's first can be interrupted.
    const std::unique_ptr<QThread> thread(QThread::create(read));
    thread->start();
    thread->wait();
    result.isInterrupted = guard && interruptedByUser && !result.ok;
    return result;
}
