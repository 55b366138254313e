#pragma once
// How the module creates a shared service: by ProgID through the component registry, reached through its
// interface. The holder owns the object; releasing it ("Set x = Nothing") deletes it.

#include "data/contracts.h"
#include "platform/runtime/errors.h"
#include "platform/runtime/registry.h"

#include <memory>

namespace agr {

template <class Interface> class Service
{
public:
    Service() = default;
    explicit Service(const char *progId) { create(progId); }

    void create(const char *progId)
    {
        m_iface = platform::ComponentRegistry::instance().createAs<Interface>(QString::fromLatin1(progId));
        m_object.reset(dynamic_cast<QObject *>(m_iface));
    }
    void reset()
    {
        m_iface = nullptr;
        m_object.reset();
    }
    Interface *operator->() const { return platform::required(m_iface, QStringLiteral("Service")); }
    Interface *get() const { return m_iface; }
    QObject *object() const { return m_object.get(); }
    explicit operator bool() const { return m_iface != nullptr; }

private:
    std::unique_ptr<QObject> m_object;
    Interface *m_iface = nullptr;
};

} // namespace agr
