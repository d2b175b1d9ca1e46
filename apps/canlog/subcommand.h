// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

class Output;
class QCommandLineParser;

/// What canlog tells the shell.
enum class ExitStatus {
    Success = 0,
    Failure = 1,       ///< an import failed, or a file or store could not be read
    WrongUsage = 2,    ///< the command line makes no sense; nothing was done
    Interrupted = 130, ///< by Ctrl-C; by another signal the program ends with that one's number
};

/**
 * One subcommand: its help and its work. A new one is a file that defines such a function, its declaration below and
 * its row in main.cpp, where the command line is parsed and the help is printed for all of them.
 */
struct Subcommand {
    QString name;
    QString summary;  ///< one line for the list of subcommands
    QString synopsis; ///< what follows the name in the usage line
    QString details;  ///< more help, after the summary; may be empty
    QString examples; ///< whole lines, ready to be typed
    void (*addOptions)(QCommandLineParser &parser);
    ExitStatus (*run)(const QCommandLineParser &parser, Output &out);
};

Subcommand importSubcommand();
Subcommand importsSubcommand();
Subcommand showSubcommand();
Subcommand statsSubcommand();
Subcommand countSubcommand();
Subcommand detectSubcommand();
Subcommand convertSubcommand();
Subcommand formatsSubcommand();
Subcommand zipSubcommand();
Subcommand unzipSubcommand();
Subcommand mergeSubcommand();
Subcommand checkSubcommand();
