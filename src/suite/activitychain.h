#pragma once
// The activity log as a chain: each row carries the SHA-256 of its content and of the previous row's
// hash, so that a row changed or removed afterwards breaks the chain where it stood. Appending is
// serialised, so that two writers never chain to the same predecessor.

#include "data/contracts.h"

#include <QVariantList>

namespace platform {
class Connection;
}

namespace suite::chain {

// The content columns in hash order, after LogID.
inline constexpr char ContentColumns[] =
    "CompanyID, DepartmentID, UserID, InterfaceID, AgreementID, AgreementNo, "
    "ActionCode, FormName, ActionDateTime";
inline constexpr int ContentCount = 9;

// Hex SHA-256 of the content (in ContentColumns order; an invalid QVariant is NULL) and prevHash.
QString rowHash(const QVariantList &content, const QString &prevHash);

// Inserts one row: inside the connection's open transaction, or in one of its own.
void append(platform::Connection &con, const QVariantList &content);

agr::ChainCheck verify(platform::Connection &con);

} // namespace suite::chain
