// A host of the smallest size: prints how many messages a candump log holds.

#include <canloghandler/canloghandler.h>
#include <common/canerrortypes.h>
#include <common/datachunkhandler.h>

#include <QCoreApplication>
#include <QTextStream>

class CountingStore : public DatachunkHandler
{
    Q_OBJECT

public:
    int messageCount = 0;

    void addImportedMessages(const QList<CAN::CanRxMessage> &messages, const QMap<unsigned int, QString> &) override
    {
        messageCount += messages.size();
    }
    void setImportFinished(bool success, DatachunkHelper::ImportFileType, QString, bool) override
    {
        Q_EMIT finished(success);
    }

    void addMessageNoteToLastMessage(QString) override {}
    void notifyFdMessage(bool) override {}
    void setLastErrorText(const QString &) override {}
    void setImportStarted() override {}
    bool loadQclFile(QString) override { return false; }
    QDir getDataChunkLocation() const override { return {}; }
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
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    QObject::connect(&store, &CountingStore::finished, &application, [&](bool success) {
        QTextStream(stdout) << store.messageCount << " messages\n";
        QCoreApplication::exit(success && canFdLengths.size() == 7 ? 0 : 1);
    });
    Q_EMIT store.sigImportRequest(QString::fromLocal8Bit(argv[1]), DatachunkHelper::SocketCanDump, {}, false);
    return QCoreApplication::exec();
}

#include "main.moc"
