#pragma once
// SharedCore.GeneralService: key filtering for numeric boxes and picking combo items by text or key.

#include "data/contracts.h"

#include <QObject>

namespace suite {

class GeneralService : public QObject, public agr::IGeneralService
{
    Q_OBJECT
    Q_INTERFACES(agr::IGeneralService)

public:
    explicit GeneralService(QObject *parent = nullptr);

    // Digits, backspace (8), Enter (13) and one decimal point pass; limit is the most characters the box
    // takes (a digit or point typed into a full box is dropped unless it replaces a selection).
    void TextValidateNum(QLineEdit *box, qint16 &keyAscii, qint16 limit) override;
    // The item whose text equals text exactly; none selects nothing (ListIndex -1).
    void SelectComboItemByName(QComboBox *box, const QString &text) override;
    // The item whose key (item data) equals value, compared as numbers when both are numbers.
    void SelectComboItemByValue(QComboBox *box, const QVariant &value) override;
};

} // namespace suite
