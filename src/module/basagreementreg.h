#pragma once
// basagreementReg: the module-wide state and the procedures that several forms share: rights test, Enter key
// filter, change test, error logging, and the standard error trap that every handler runs under. The list
// refresh after a save writes the list form's grid and lives with it (forms/list/listrefresh.h).

#include "platform/runtime/errors.h"

#include <QString>
#include <functional>

class QWidget;

namespace agr::bas {

// Module-wide state.
QString &rightsString();      // the user's FunctionRights for this interface
QString &entryMode();         // "N" new agreement, "E" stored agreement
QString &detailMode();        // "A" popup adds a row, "E" popup edits the current row
qint32 &currentAgreementId(); // id of the agreement open in the entry form
QString &listSql();           // the module-wide copy of the list statement

// True when the right letter is granted; a rights string of exactly "ADMIN" grants nothing here.
// Both the code and the stored rights string are upper-cased and trimmed in place.
bool RightsTest(QString &code);
bool RightsTest(const char *code);

// Enter (13) sends "{tab}"; the key itself is left as it is.
void EnterKeyFilter(qint16 &keyAscii);

// True when some input control of the form differs from its Tag.
bool ChangeTest(QWidget *form);

// The error-logging procedure: cuts the number to its last five digits (written back), reads the
// user's name and calls the fault service's ErrorTrack.
void ErrorLog(const QString &formName, qint16 userId, const QString &procedure, qint32 &number,
              const QString &source, const QString &description, QString &mode, bool flag);

// The standard error trap: runs body; a run-time error is logged through ErrorLog under the form's name
// and the procedure's name, and the procedure ends silently. Returns true when body ran to its end.
bool Trap(QWidget *form, const char *procedure, const std::function<void()> &body);

} // namespace agr::bas
