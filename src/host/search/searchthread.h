#pragma once
// The search window's searches run here, on a thread of their own with their own connection to the same
// database, so that typing never waits for the database. Only the newest question matters: one asked while
// another runs replaces any that has not started yet, and each answer carries the ticket of its question.

#include "host/search/search.h"

#include <QMutex>
#include <QThread>
#include <QWaitCondition>

#include <optional>

namespace host {

struct SearchAnswer
{
    quint64 ticket = 0;
    SearchResult result;
    qint64 ms = 0;   // the search's own time, on the search thread
    QString failure; // what the database raised; empty when it answered
};

class SearchThread : public QThread
{
    Q_OBJECT

public:
    // url: the database to search (a connection belongs to the thread that opened it, so the thread opens
    // its own); departments: whose agreements to show.
    SearchThread(QString url, QList<int> departments, int rowsPerTerm = RowsPerTermWhileTyping);
    ~SearchThread() override;

    // Starts the thread when needed. The answer comes through answered(), on the asking thread.
    quint64 ask(const SearchQuery &query, int limit = 50);
    void stop();

Q_SIGNALS:
    void answered(const host::SearchAnswer &answer);

protected:
    void run() override;

private:
    struct Question
    {
        quint64 ticket = 0;
        SearchQuery query;
        int limit = 50;
    };

    QString m_url;
    QList<int> m_departments;
    int m_rowsPerTerm;
    QMutex m_mutex;
    QWaitCondition m_asked;
    std::optional<Question> m_pending;
    quint64 m_tickets = 0;
};

} // namespace host
