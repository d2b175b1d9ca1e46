// SPDX-License-Identifier: Apache-2.0
#include "common/datachunkhandler.h"

DatachunkHandler::DatachunkHandler(QObject *parent)
    : QObject(parent)
{
}

// Out of line, so that the vtable is emitted once, in the library.
DatachunkHandler::~DatachunkHandler() = default;
