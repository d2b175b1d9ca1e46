#include "host/cli/filereading.h"

#include "canloghandler/canloghandler.h"
#include "host/cli/interruption.h"
#include "host/cli/progressbar.h"

#include <QPointer>
#include <QThread>

#include <memory>

FileResult readFile(DatachunkHandler &store, const FileRequest &request, ProgressBar *bar)
{
    takeInterruptions();
    FileResult result;
    const auto read = [&] {
        QPointer<DatachunkHandler> storePointer(&store);
        // A handler for each file: its error text may otherwise be that of an earlier one.
        CANLogHandler handler(storePointer);
        const auto progress = [bar](qint64 bytesRead, qint64 bytesTotal) {
            if (bar)
                bar->update(bytesRead, bytesTotal);
            if (wasInterrupted())
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
    result.isInterrupted = wasInterrupted() && !result.ok;
    return result;
}
