#include "host/identity.h"

#include "host/hostsupport.h"

#include "data/access.h"
#include "data/schema.h"
#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

namespace host {

namespace {

QString listed(const QList<int> &ids)
{
    QStringList texts;
    for (int id : ids)
        texts << QString::number(id);
    return texts.join(QStringLiteral(", "));
}

template <class Id>
Id choose(const QList<int> &mapped, std::optional<Id> asked, const QString &login, const char *option,
          const char *acting, const char *table)
{
    if (mapped.isEmpty())
        throw Failure(QStringLiteral("the login '%1' may not use the register: no %2 is mapped to it in %3")
                          .arg(login, QLatin1String(option), QLatin1String(table)));
    if (!asked)
        return Id(mapped.first());
    if (!mapped.contains(*asked))
        throw Failure(QStringLiteral("--%1 %2: the login '%3' may act only %4 %5")
                          .arg(QLatin1String(option))
                          .arg(*asked)
                          .arg(login, QLatin1String(acting), listed(mapped)));
    return *asked;
}

} // namespace

Identity identify(platform::Connection &con, std::optional<qint32> user, std::optional<qint16> department)
{
    Identity who;
    failingAs(QStringLiteral("cannot tell who may use ") + platform::printableUrl(con.url()),
              ErrorText::Description, [&] {
                  who.login = agr::schema::currentLogin(con);
                  const QList<int> users = agr::schema::usersOfLogin(con, who.login);
                  const QList<int> departments = agr::schema::departmentsOfLogin(con, who.login);
                  who.userId =
                      choose(users, user, who.login, "user", "as user", agr::schema::table::LoginUsers);
                  who.departmentId = choose(departments, department, who.login, "department",
                                            "for department", agr::schema::table::LoginDepartments);
              });
    return who;
}

} // namespace host
