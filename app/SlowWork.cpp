#include "app/SlowWork.h"

#include "app/Log.h"

#include <utility>

namespace {

constexpr qint64 kPatience = 1000; // milliseconds
constexpr qint64 kBetweenWords = 200; // milliseconds

SlowWork::Listener &listener()
{
    static SlowWork::Listener listener;
    return listener;
}

} // namespace

SlowWork::SlowWork(QString what)
    : m_what(std::move(what))
    , m_nextWord(kPatience)
{
    m_timer.start();
}

SlowWork::~SlowWork()
{
    if (m_nextWord > kPatience && listener())
        listener()(QString());
}

void SlowWork::setListener(Listener newListener) { listener() = std::move(newListener); }

void SlowWork::reached(std::size_t number, const char *unit)
{
    if (m_timer.elapsed() >= m_nextWord)
        say(number, unit);
}

void SlowWork::say(std::size_t number, const char *unit)
{
    const QString text =
        QStringLiteral("%1, %2 %3").arg(m_what).arg(number).arg(QLatin1String(unit));
    if (m_nextWord == kPatience)
        qCDebug(lcApp).noquote() << text;
    if (listener())
        listener()(text);
    m_nextWord = m_timer.elapsed() + kBetweenWords;
}
