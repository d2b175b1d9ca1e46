#pragma once

#include "host/convert/framewriter.h"

#include <memory>

/// Writes one table, "messages", into a new SQLite database, in one transaction. It holds everything that a message
/// says. Needs Qt's driver for SQLite, and a QCoreApplication. A database belongs to one thread, so the writer is made,
/// used and destroyed in the same one; in another it fails.
class SqliteWriter : public FrameWriter
{
public:
    /// @p path is an empty file that nobody else opens.
    explicit SqliteWriter(const QString &path);
    ~SqliteWriter() override;

    bool begin() override;
    bool write(const CAN::CanRxMessage &message, const QString &note) override;
    bool finish() override;

private:
    bool isInItsThread();

    class Private;
    std::unique_ptr<Private> d;
};
