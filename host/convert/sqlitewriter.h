// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/framewriter.h"

#include <memory>

/// Writes one table, "messages", into a new SQLite database, in one transaction. It holds everything that a message
/// says.
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
    bool run(const char *statement);
    /// fail() with what the database says; false.
    bool failed();

    class Database;
    std::unique_ptr<Database> d;
};
