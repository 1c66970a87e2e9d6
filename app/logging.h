#pragma once

#include <QtGlobal>

// A Qt message handler that appends every message as one line to a per-run
// file, <customer dir>/logs/log_<yyyyMMdd_hhmmss of the first message>.txt:
// "[yyyy-MM-dd hh:mm:ss][  Debug] message From:file at line:n" and "\r\n".
// Start-up leaves Qt's own handler in place; install this one with
// qInstallMessageHandler where a file log is wanted.
void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg);
