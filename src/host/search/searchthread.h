#pragma once
// The search window's searches run here, on threads of their own with their own connections to the same
// database, so that typing never waits for the database. Only the newest question matters: one asked while
// another runs replaces any that has not started yet, and each answer carries the ticket of its question.
// A quick answer that is only a sample (a term too common to weigh while the clerk types) is followed,
// once the clerk pauses, by the weighed answer to the same question, from a second thread, so that a
// newer keystroke never waits for the weighing: it overtakes it, and the overtaken answer is dropped.

#include "host/search/search.h"

#include <QMutex>
#include <QThread>
#include <QWaitCondition>

#include <memory>
#include <optional>

namespace host {

struct SearchAnswer
{
    quint64 ticket = 0;
    SearchResult result;
    qint64 ms = 0;       // the search's own time, on the search thread
    QString failure;     // what the database raised; empty when it answered
    bool sample = false; // a quick answer; the weighed answer to the same ticket follows
};

// How long the clerk stops typing before a sample is weighed.
constexpr int PauseBeforeWeighing = 300;

class SearchThread : public QThread
{
    Q_OBJECT

public:
    // url: the database to search (a connection belongs to the thread that opened it, so the thread opens
    // its own); departments: whose agreements to show.
    SearchThread(QString url, QList<int> departments, int rowsPerTerm = RowsPerTermWhileTyping,
                 int pauseMs = PauseBeforeWeighing);
    ~SearchThread() override;

    // Starts the threads when needed. The answers come through answered(), on the asking thread.
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

    void weigh();
    void tell(SearchAnswer answer);
    // Runs the question on con (opened on first use) and times it.
    SearchAnswer answer(platform::Connection &con, const Question &question, int rowsPerTerm);

    QString m_url;
    QList<int> m_departments;
    int m_rowsPerTerm;
    int m_pauseMs;
    QMutex m_mutex;
    QWaitCondition m_asked;
    std::optional<Question> m_pending;
    std::optional<Question> m_toWeigh;
    quint64 m_tickets = 0;
    bool m_stopping = false;
    std::unique_ptr<QThread> m_weigher;
};

} // namespace host
