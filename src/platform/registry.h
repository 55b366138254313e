#pragma once
// The component registry: ProgID -> library and class id, kept in one registry file (XDG config folder,
// or the file named by AGR_COMPONENT_REGISTRY). Libraries are components in the original's sense: they
// export DllRegisterServer, DllUnregisterServer, DllGetClassObject and DllCanUnloadNow.

#include <QHash>
#include <QObject>
#include <QString>
#include <functional>

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

    // Calls a library's DllRegisterServer or DllUnregisterServer; returns its HRESULT (E_FAIL when the library
    // cannot be loaded or lacks the export).
    HRESULT callRegistration(const QString &libraryPath, bool doRegister, QString *errorText = nullptr);

    // The path of the shared library that holds the given address (for DllRegisterServer).
    static QString libraryPathOf(const void *address);

private:
    ComponentRegistry() = default;
    QHash<QString, std::function<QObject *()>> m_inProcess;
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

// Live objects of a component library, for DllCanUnloadNow.
class LiveObjects
{
public:
    void track(QObject *object);
    int count() const { return m_count; }

private:
    int m_count = 0;
};

} // namespace platform
