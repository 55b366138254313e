#include "host/search/searchthread.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QElapsedTimer>

namespace host {

SearchThread::SearchThread(QString url, QList<int> departments, int rowsPerTerm)
    : m_url(std::move(url)), m_departments(std::move(departments)), m_rowsPerTerm(rowsPerTerm)
{
}

SearchThread::~SearchThread()
{
    stop();
}

quint64 SearchThread::ask(const SearchQuery &query, int limit)
{
    quint64 ticket = 0;
    {
        QMutexLocker lock(&m_mutex);
        ticket = ++m_tickets;
        m_pending = Question{ticket, query, limit};
        m_asked.wakeAll();
    }
    if (!isRunning())
        start();
    return ticket;
}

void SearchThread::stop()
{
    {
        QMutexLocker lock(&m_mutex);
        m_pending.reset();
        requestInterruption();
        m_asked.wakeAll();
    }
    wait();
}

void SearchThread::run()
{
    platform::Connection con;
    for (;;) {
        Question question;
        {
            QMutexLocker lock(&m_mutex);
            while (!m_pending && !isInterruptionRequested())
                m_asked.wait(&m_mutex);
            if (isInterruptionRequested())
                return;
            question = std::move(*m_pending);
            m_pending.reset();
        }
        SearchAnswer answer;
        answer.ticket = question.ticket;
        QElapsedTimer clock;
        clock.start();
        platform::Trap(
            [&] {
                if (!con.isOpen())
                    con.Open(m_url);
                answer.result =
                    findAgreements(con, question.query, m_departments, question.limit, m_rowsPerTerm);
            },
            [&](const platform::RuntimeError &e) { answer.failure = e.description(); });
        answer.ms = clock.elapsed();
        // This object lives on the asking thread: the answer is told there.
        QMetaObject::invokeMethod(
            this, [this, answer = std::move(answer)] { Q_EMIT answered(answer); }, Qt::QueuedConnection);
    }
}

} // namespace host
