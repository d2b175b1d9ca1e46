// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/filereading.h"

#include "apps/canlog/inputfile.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/progressbar.h"
#include "canloghandler/canloghandler.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>

#include <exception>
#include <memory>
#include <new>

void runInterruptibly(const std::function<void()> &work)
{
    if (QThread::currentThread() != QCoreApplication::instance()->thread()) {
        work();
        return;
    }
    // What is thrown may not leave a thread. One that cannot even begin lacks memory, too.
    std::exception_ptr failure = std::make_exception_ptr(std::bad_alloc());
    const auto workInThread = [&] {
        try {
            work();
            failure = nullptr;
        } catch (...) {
            failure = std::current_exception();
        }
    };
    const std::unique_ptr<QThread> thread(QThread::create(workInThread));
    thread->start();
    thread->wait();
    if (failure)
        std::rethrow_exception(failure);
}

/// Which line ended the import by its @p report; empty when none did.
static QString endText(const ImportReport &report)
{
    if (report.faults.isEmpty() || report.faults.constLast().reason != ImportReport::Reason::EndsImport)
        return {};
    const ImportReport::Fault &end = report.faults.constLast();
    return QStringLiteral("%1: %2").arg(report.placeText(end), end.toText());
}

FileResult readFile(DatachunkHandler &store, const FileRequest &request, ProgressBar *bar)
{
    takeInterruptions();
    FileResult result;
    const auto read = [&] {
        QPointer<DatachunkHandler> storePointer(&store);
        // A handler for each file: its error text may otherwise be that of an earlier one.
        CANLogHandler handler(storePointer);
        const auto progress = [&](qint64 bytesRead, qint64 bytesTotal) {
            if (bar && request.stream)
                bar->update(request.stream->bytesRead(), request.stream->bytesTotal());
            else if (bar)
                bar->update(bytesRead, bytesTotal);
            if (wasInterrupted())
                QThread::currentThread()->requestInterruption();
        };
        QObject::connect(&handler, &CANLogHandler::importProgress, &handler, progress, Qt::DirectConnection);
        if (request.stream) {
            result.ok = handler.loadDevice(request.stream->device(), request.path, request.type, request.text, false);
            // A pipe ends when it is interrupted, which the library takes for its end.
            result.ok = result.ok && !wasInterrupted();
        } else {
            result.ok = handler.loadFile(request.path, request.type, request.text, request.flag);
        }
        result.report = handler.getImportReport();
        result.log = handler.getLogInfo();
        result.archive = handler.getArchiveReport();
        if (request.stream && !result.report.readError.isEmpty())
            result.report.readError = request.stream->withAdvice(result.report.readError);
        result.errorText = handler.getLastErrorText();
        if (request.stream && !result.ok && !request.stream->fault().isEmpty())
            result.errorText = request.stream->fault(); // of a line that is cut off, too, that is the reason
        if (!result.ok && result.errorText.isEmpty())
            result.errorText = result.report.readError.isEmpty() ? endText(result.report) : result.report.readError;
    };
    runInterruptibly(read);
    result.isInterrupted = wasInterrupted() && !result.ok;
    return result;
}
