#pragma once
// The component registry: ProgID -> library and class id, kept in one registry file (XDG config folder,
// or the file named by AGR_COMPONENT_REGISTRY). Libraries are components in the original's sense: they
// export DllRegisterServer, DllUnregisterServer, DllGetClassObject and DllCanUnloadNow.

#include <QHash>
#include <QObject>
#include <QString>
#include <functional>
#include <span>

class QLibrary;

namespace platform {

using HRESULT = qint32;
constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_FAIL = qint32(0x80004005);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = qint32(0x80040111);
constexpr HRESULT SELFREG_E_CLASS = qint32(0x80040201);

[[noreturn]] void raiseNoInterface(const QString &progId);

// What DllGetClassObject hands out: a factory that creates one object of the class.
using ClassFactory = QObject *(*)();

// Signatures of the four exports.
using DllRegisterServerFn = HRESULT (*)();
using DllUnregisterServerFn = HRESULT (*)();
using DllGetClassObjectFn = HRESULT (*)(const char *clsid, ClassFactory *factory);
using DllCanUnloadNowFn = HRESULT (*)();

class ComponentRegistry
{
public:
    static ComponentRegistry &instance();

    QString registryFile() const;

    // Written by a library's DllRegisterServer / DllUnregisterServer.
    bool registerClass(const QString &progId, const QString &clsid, const QString &libraryPath);
    bool unregisterClass(const QString &progId);
    bool isRegistered(const QString &progId) const;
    QString libraryOf(const QString &progId) const;

    // Creates an object by ProgID: a class registered in this process first, else the registry file's
    // library, loaded on demand. Raises run-time error 429 when the ProgID is unknown or cannot be created.
    // The caller owns the object.
    QObject *create(const QString &progId);
    template <class T> T *createAs(const QString &progId);

    // Classes a host or test links in directly.
    void registerInProcess(const QString &progId, std::function<QObject *()> factory);
    void unregisterInProcess(const QString &progId);

    // Calls a library's DllRegisterServer or DllUnregisterServer; returns its HRESULT (E_FAIL when the
    // library cannot be loaded or lacks the export).
    HRESULT callRegistration(const QString &libraryPath, bool doRegister, QString *errorText = nullptr);

    // The path of the shared library that holds the given address (for DllRegisterServer).
    static QString libraryPathOf(const void *address);

    // Why the last create() of this process raised 429 (for the host's error line); "" when none did.
    QString lastFailure() const { return m_lastFailure; }

private:
    ComponentRegistry() = default;
    [[noreturn]] void fail(const QString &progId, const QString &why);
    QLibrary *load(const QString &libraryPath, QString *errorText);

    QHash<QString, std::function<QObject *()>> m_inProcess; // keyed by the lower-cased ProgID
    QHash<QString, QLibrary *> m_libraries;                 // loaded once, never unloaded
    QString m_lastFailure;
};

// Raises 429 when the object does not implement T (qobject_cast failed); the object is deleted then.
template <class T> T *ComponentRegistry::createAs(const QString &progId)
{
    QObject *object = create(progId);
    T *typed = qobject_cast<T *>(object);
    if (!typed) {
        delete object;
        raiseNoInterface(progId);
    }
    return typed;
}

// Live objects of a component library, for DllCanUnloadNow: an object counts from track() until it is
// destroyed.
class LiveObjects
{
public:
    void track(QObject *object);
    int count() const { return m_count; }

private:
    int m_count = 0;
};

// The four exports of a component library, each a one-liner over the library's table of classes:
//
//     namespace {
//     platform::LiveObjects live;
//     QObject *newThing() { return platform::tracked(live, new Thing); }
//     const platform::ClassEntry classes[] = {{"Lib.Thing", "{6F1C...}", &newThing}};
//     }
//     extern "C" {
//     Q_DECL_EXPORT platform::HRESULT DllRegisterServer() { return platform::registerClasses(classes); }
//     Q_DECL_EXPORT platform::HRESULT DllUnregisterServer() { return platform::unregisterClasses(classes); }
//     Q_DECL_EXPORT platform::HRESULT DllGetClassObject(const char *clsid, platform::ClassFactory *factory)
//     { return platform::getClassObject(classes, clsid, factory); }
//     Q_DECL_EXPORT platform::HRESULT DllCanUnloadNow() { return platform::canUnloadNow(live); }
//     }
//
// The table must live in the library itself: registerClasses records the path of the library that holds
// it. Link the library with -Bsymbolic so that its exports resolve inside it whoever else exports the
// same names.
struct ClassEntry
{
    const char *progId;
    const char *clsid; // any text unique to the class; compared without regard to case
    ClassFactory factory;
};

template <class T> T *tracked(LiveObjects &live, T *object)
{
    live.track(object);
    return object;
}

// S_OK, or SELFREG_E_CLASS when the registry file cannot be written.
HRESULT registerClasses(std::span<const ClassEntry> classes);
HRESULT unregisterClasses(std::span<const ClassEntry> classes);
// S_OK with the class's factory, CLASS_E_CLASSNOTAVAILABLE for a class id not in the table.
HRESULT getClassObject(std::span<const ClassEntry> classes, const char *clsid, ClassFactory *factory);
// S_OK when no object of the library is alive, S_FALSE otherwise.
HRESULT canUnloadNow(const LiveObjects &live);
// Makes the table's classes creatable in this process without the registry file (for programs and tests
// that link the library).
void registerInProcess(std::span<const ClassEntry> classes);

} // namespace platform
