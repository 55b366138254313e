#pragma once
// The list refresh after a save (basagreementReg's ListRefresh): it writes the list form's grid, so it lives
// with the list form.

#include <QString>

namespace agr::bas {

// Re-reads one agreement through the list statement and adds it to the list grid (entry mode not "E")
// or rewrites the grid's current row (entry mode "E").
void ListRefresh(QString &criterion, qint32 &serialNo);

} // namespace agr::bas
