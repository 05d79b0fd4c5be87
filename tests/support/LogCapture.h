#pragma once

#include <QStringList>

/// Collects every debug line written while it lives, instead of printing them. One at a time.
class LogCapture {
public:
    LogCapture()
    {
        s_lines.clear();
        m_previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &text) { s_lines << text; });
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    static QStringList lines() { return s_lines; }
    static int countContaining(const QString &text) { return s_lines.filter(text).size(); }

private:
    static inline QStringList s_lines;
    QtMessageHandler m_previous = nullptr;
};
