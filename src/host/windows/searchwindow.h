#pragma once
// "Find agreements": the host's search window over the list. Ctrl+Shift+F in the agreement list opens it;
// it shows the department's agreements that hold what the clerk types, after every keystroke, and Enter
// selects the chosen agreement in the list, where Edit opens it as usual. The searches run on a thread of
// their own: a keystroke never waits for the database, the hits shown stay until the newest answer comes,
// and Enter pressed before it comes waits for it. A quick sample shown while the clerk types is replaced by
// the weighed hits, best first, when the clerk pauses; Enter chooses from what is shown. The module's forms
// know nothing of it: the host watches the list's keys from outside.

#include "host/search/searchthread.h"

#include <QDialog>
#include <QObject>
#include <functional>
#include <memory>

class QLabel;
class QLineEdit;
class QTimer;

namespace platform {
class Connection;
class FlexGrid;
} // namespace platform

namespace host {

enum class FindCol
{
    Number,
    Description,
    Where,
    Excerpt
};

class SearchWindow : public QDialog
{
    Q_OBJECT

public:
    // select is asked to select a hit in the list; it returns false, with the reason, when it cannot.
    using Select = std::function<bool(const SearchHit &, QString &why)>;
    SearchWindow(SearchThread &searches, Select select, QWidget *parent = nullptr);

    QLineEdit *txtFind;
    QLabel *lblStatus;
    platform::FlexGrid *mfgHits; // row 0 the captions, then one row per hit, best first

    const QList<SearchHit> &hits() const { return m_hits; }
    // True from a change of txtFind until the (first) answer for its text is shown.
    bool searching() const { return m_wanted != 0 && !m_answered; }
    // Asks for what txtFind holds; called after every change of its text.
    void refresh();
    // Selects the current hit in the list and closes, or says why not; while searching, once the answer
    // is shown.
    void choose();

private:
    void showAnswer(const SearchAnswer &answer);

    SearchThread &m_searches;
    Select m_select;
    QList<SearchHit> m_hits;
    quint64 m_wanted = 0; // the ticket of the question for txtFind's text; answers to others are dropped
    bool m_answered = false;
    bool m_chooseWhenAnswered = false;
    QTimer *m_slow; // tells "Searching..." when an answer is late
};

// Watches the application's keys: Ctrl+Shift+F in the agreement list (the window named "FrmMaster") opens
// the search window for the department over it; a scans form closing calls scansStored. Installed by the
// host around Show, removed when it is destroyed.
class ListSearchShortcut : public QObject
{
    Q_OBJECT

public:
    ListSearchShortcut(platform::Connection &con, qint16 department, std::function<void()> scansStored = {});
    ~ListSearchShortcut() override;

    // Selects the agreement in the list's grid: the whole row, scrolled into view.
    static bool selectInList(QWidget *list, const SearchHit &hit, QString &why);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    platform::Connection &m_con;
    qint16 m_department;
    std::function<void()> m_scansStored;
    bool m_open = false;
    std::unique_ptr<SearchThread> m_searches; // from the first opening on, kept with its connection
};

} // namespace host
