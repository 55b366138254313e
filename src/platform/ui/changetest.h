#pragma once
// The rule by which a form's input controls are compared with the baseline kept in their Tag. The module's
// change test and the audit service's DataChanged both use it, so that the two never disagree.
//
//   text and combo boxes   Text and Tag, each with surrounding blanks removed
//   check and option       the Tag read as a number (its leading numeric part, 0 for none) against the value
//   grids                  the cells (rows 1.., column 1 then 2..Cols-1, no separators) and the Tag,
//                          both upper-cased
//
// Other controls carry no baseline and never count as changed.

#include <QString>

class QObject;
class QWidget;

namespace platform {

// True for the controls whose value the baseline records.
bool carriesBaseline(const QObject *control);
// True when the control carries a baseline and its value differs from its Tag by the rule above.
bool differsFromTag(const QObject *control);
// The form's controls in index order; true at the first that differs from its Tag.
bool formDiffersFromTags(const QWidget *form);
// Stores each baseline control's value in its Tag.
void storeBaselines(QWidget *form);

} // namespace platform
