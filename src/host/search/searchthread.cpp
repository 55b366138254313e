#include "host/search/searchthread.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>

namespace host {

SearchThread::SearchThread(QString url, QList<int> departments, int rowsPerTerm, int pauseMs)
    : m_url(std::move(url)), m_departments(std::move(departments)), m_rowsPerTerm(rowsPerTerm),
      m_pauseMs(pauseMs)
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
        if (!isRunning())
            m_stopping = false;
        ticket = ++m_tickets;
        m_pending = Question{ticket, query, limit};
        m_asked.wakeAll();
    }
    if (!isRunning())
        start();
    if (m_rowsPerTerm < RowsPerTerm && (!m_weigher || !m_weigher->isRunning())) {
        m_weigher.reset(QThread::create([this] { weigh(); }));
        m_weigher->start();
    }
    return ticket;
}

void SearchThread::stop()
{
    {
        QMutexLocker lock(&m_mutex);
        m_pending.reset();
        m_toWeigh.reset();
        m_stopping = true;
        m_asked.wakeAll();
    }
    wait();
    if (m_weigher)
        m_weigher->wait();
}

SearchAnswer SearchThread::answer(platform::Connection &con, const Question &question, int rowsPerTerm)
{
    SearchAnswer answer;
    answer.ticket = question.ticket;
    QElapsedTimer clock;
    clock.start();
    platform::Trap(
        [&] {
            if (!con.isOpen())
                con.Open(m_url);
            answer.result = findAgreements(con, question.query, m_departments, question.limit, rowsPerTerm);
        },
        [&](const platform::RuntimeError &e) { answer.failure = e.description(); });
    answer.ms = clock.elapsed();
    return answer;
}

void SearchThread::tell(SearchAnswer answer)
{
    // This object lives on the asking thread: the answer is told there.
    QMetaObject::invokeMethod(
        this, [this, answer = std::move(answer)] { Q_EMIT answered(answer); }, Qt::QueuedConnection);
}

void SearchThread::run()
{
    platform::Connection con;
    for (;;) {
        Question question;
        {
            QMutexLocker lock(&m_mutex);
            while (!m_pending && !m_stopping)
                m_asked.wait(&m_mutex);
            if (m_stopping)
                return;
            question = std::move(*m_pending);
            m_pending.reset();
        }
        SearchAnswer quick = answer(con, question, m_rowsPerTerm);
        // Only a sample is weighed again: an answer that weighed every row it found is find's already.
        quick.sample = m_rowsPerTerm < RowsPerTerm && quick.failure.isEmpty() && quick.result.partial;
        const bool weighLater = quick.sample;
        // Told before the weighing can start, so that the weighed answer always comes after it.
        tell(std::move(quick));
        if (weighLater) {
            QMutexLocker lock(&m_mutex);
            m_toWeigh = question;
            m_asked.wakeAll();
        }
    }
}

void SearchThread::weigh()
{
    platform::Connection con;
    for (;;) {
        Question question;
        {
            QMutexLocker lock(&m_mutex);
            // Until the clerk has paused on the newest question's sample; a newer question drops it, and
            // its own sample, if any, waits for a pause of its own.
            for (;;) {
                while (!m_toWeigh && !m_stopping)
                    m_asked.wait(&m_mutex);
                if (m_stopping)
                    return;
                const quint64 ticket = m_toWeigh->ticket;
                if (ticket != m_tickets) {
                    m_toWeigh.reset();
                    continue;
                }
                QDeadlineTimer paused(m_pauseMs);
                while (!m_stopping && m_tickets == ticket && !paused.hasExpired())
                    m_asked.wait(&m_mutex, paused);
                if (m_stopping)
                    return;
                if (m_tickets == ticket)
                    break;
            }
            question = std::move(*m_toWeigh);
            m_toWeigh.reset();
        }
        SearchAnswer weighed = answer(con, question, RowsPerTerm);
        {
            QMutexLocker lock(&m_mutex);
            if (question.ticket != m_tickets)
                continue;
        }
        tell(std::move(weighed));
    }
}

} // namespace host
