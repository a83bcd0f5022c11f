#pragma once

#include <QByteArray>

#include <exception>

// Thrown for a fatal Qt message, so that it ends in the exception net
// (log line, exit code 1) instead of Qt's abort.
class ExceptionQtFatal : public std::exception
{
public:
    explicit ExceptionQtFatal(QByteArray message) : message(std::move(message)) {}
    const char *what() const noexcept override { return message.constData(); }

private:
    QByteArray message;
};
