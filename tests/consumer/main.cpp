// A host of the smallest size: reads a candump log in a thread of its own and prints how many messages it holds.

#include <canloghandler/canloghandler.h>

#include <QCoreApplication>
#include <QTextStream>
#include <QThread>

class CountingStore : public DatachunkHandler
{
    Q_OBJECT

public:
    qint64 messageCount = 0; // of the import thread until finished() arrives

    void setImportStarted() override { messageCount = 0; }
    void addImportedMessages(const QList<CAN::CanRxMessage> &messages, const QMap<unsigned int, QString> &) override
    {
        messageCount += messages.size();
    }
    void setImportFinished(bool success, DatachunkHelper::ImportFileType, QString, bool) override
    {
        Q_EMIT finished(success);
    }

    // Notes, CAN FD and data chunks do not matter here.
    void addMessageNoteToLastMessage(QString) override {}
    void notifyFdMessage(bool) override {}
    void setLastErrorText(const QString &) override {}
    bool loadQclFile(QString) override { return false; }
    QDir getDataChunkLocation() const override { return {QStringLiteral(":/none")}; } // QDir() is the current folder
    bool parseQCLStream(QDataStream &, bool &) override { return false; }
    unsigned int getMsgCountFromQclStream(QDataStream &) override { return 0; }
    void notifyNewZippedFile(const QString &, const QString &, const QDir &, const QString &) override {}
    void notifyZipFileLoaded(const QString &) override {}

Q_SIGNALS:
    void finished(bool success);
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    CountingStore store;
    QThread thread;
    auto *const handler = new CANLogHandler(&store);
    handler->moveToThread(&thread);
    QObject::connect(&thread, &QThread::finished, handler, &QObject::deleteLater);
    QObject::connect(&store, &CountingStore::finished, &application, [&](bool success) {
        QTextStream out(stdout);
        out << store.messageCount << " messages\n";
        const ImportReport report = handler->getImportReport(); // the handler is idle
        for (const ImportReport::Fault &fault : report.faults)
            out << "line " << fault.line << ": " << ImportReport::reasonText(fault.reason) << '\n';
        QCoreApplication::exit(success ? 0 : 1);
    });
    thread.start();
    Q_EMIT store.sigImportRequest(application.arguments().value(1), DatachunkHelper::SocketCanDump, {}, false);
    const int status = QCoreApplication::exec();
    thread.quit();
    thread.wait();
    return status;
}

#include "main.moc"
