#include "registry.h"

#include "platform/runtime/errors.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLibrary>
#include <QSaveFile>
#include <QStandardPaths>

#include <dlfcn.h>

namespace platform {

namespace {

const QString kClasses = QStringLiteral("classes");
const QString kClsid = QStringLiteral("clsid");
const QString kLibrary = QStringLiteral("library");

QJsonObject readRegistry(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

bool writeRegistry(const QString &path, const QJsonObject &root)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(QJsonDocument(root).toJson(QJsonDocument::Indented));
    return file.commit();
}

// ProgIDs are compared without regard to case; the file keeps them as they were registered.
QString findKey(const QJsonObject &classes, const QString &progId)
{
    for (auto it = classes.begin(); it != classes.end(); ++it) {
        if (it.key().compare(progId, Qt::CaseInsensitive) == 0)
            return it.key();
    }
    return {};
}

const QString kCantCreate = QStringLiteral("ActiveX component can't create object");

} // namespace

void raiseNoInterface(const QString &progId)
{
    Raise(err::CantCreateObject, progId, kCantCreate);
}

ComponentRegistry &ComponentRegistry::instance()
{
    static ComponentRegistry registry;
    return registry;
}

QString ComponentRegistry::registryFile() const
{
    const QString fromEnv = qEnvironmentVariable("AGR_COMPONENT_REGISTRY");
    if (!fromEnv.isEmpty())
        return fromEnv;
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/agreement-register/components.json");
}

bool ComponentRegistry::registerClass(const QString &progId, const QString &clsid, const QString &libraryPath)
{
    const QString path = registryFile();
    QJsonObject root = readRegistry(path);
    QJsonObject classes = root.value(kClasses).toObject();
    const QString existing = findKey(classes, progId);
    if (!existing.isEmpty())
        classes.remove(existing);
    classes.insert(progId, QJsonObject{{kClsid, clsid}, {kLibrary, libraryPath}});
    root.insert(kClasses, classes);
    return writeRegistry(path, root);
}

bool ComponentRegistry::unregisterClass(const QString &progId)
{
    const QString path = registryFile();
    QJsonObject root = readRegistry(path);
    QJsonObject classes = root.value(kClasses).toObject();
    const QString existing = findKey(classes, progId);
    if (existing.isEmpty())
        return true;
    classes.remove(existing);
    root.insert(kClasses, classes);
    return writeRegistry(path, root);
}

bool ComponentRegistry::isRegistered(const QString &progId) const
{
    return !findKey(readRegistry(registryFile()).value(kClasses).toObject(), progId).isEmpty();
}

QString ComponentRegistry::libraryOf(const QString &progId) const
{
    const QJsonObject classes = readRegistry(registryFile()).value(kClasses).toObject();
    const QString key = findKey(classes, progId);
    return key.isEmpty() ? QString() : classes.value(key).toObject().value(kLibrary).toString();
}

void ComponentRegistry::fail(const QString &progId, const QString &why)
{
    m_lastFailure = progId % QStringLiteral(": ") % why;
    Raise(err::CantCreateObject, progId, kCantCreate);
}

QLibrary *ComponentRegistry::load(const QString &libraryPath, QString *errorText)
{
    const QFileInfo info(libraryPath);
    const QString key = info.exists() ? info.canonicalFilePath() : libraryPath;
    if (QLibrary *loaded = m_libraries.value(key))
        return loaded;
    auto *library = new QLibrary(key);
    if (!library->load()) {
        if (errorText)
            *errorText = library->errorString();
        delete library;
        return nullptr;
    }
    m_libraries.insert(key, library);
    return library;
}

QObject *ComponentRegistry::create(const QString &progId)
{
    m_lastFailure.clear();
    if (const auto it = m_inProcess.constFind(progId.toLower()); it != m_inProcess.constEnd()) {
        QObject *object = it.value()();
        if (!object)
            fail(progId, QStringLiteral("the in-process factory made no object"));
        return object;
    }

    const QJsonObject classes = readRegistry(registryFile()).value(kClasses).toObject();
    const QString key = findKey(classes, progId);
    if (key.isEmpty())
        fail(progId, QStringLiteral("not registered in ") + registryFile());
    const QJsonObject entry = classes.value(key).toObject();
    const QString libraryPath = entry.value(kLibrary).toString();
    const QByteArray clsid = entry.value(kClsid).toString().toLatin1();

    QString loadError;
    QLibrary *library = load(libraryPath, &loadError);
    if (!library)
        fail(progId, loadError);
    auto getClassObject = reinterpret_cast<DllGetClassObjectFn>(library->resolve("DllGetClassObject"));
    if (!getClassObject)
        fail(progId, libraryPath + QStringLiteral(" does not export DllGetClassObject"));
    ClassFactory factory = nullptr;
    const HRESULT hr = getClassObject(clsid.constData(), &factory);
    if (hr != S_OK || !factory)
        fail(progId, QStringLiteral("%1 has no class %2 (0x%3)")
                         .arg(libraryPath, QString::fromLatin1(clsid))
                         .arg(quint32(hr), 8, 16, QLatin1Char('0')));
    QObject *object = factory();
    if (!object)
        fail(progId, QStringLiteral("the class factory made no object"));
    return object;
}

void ComponentRegistry::registerInProcess(const QString &progId, std::function<QObject *()> factory)
{
    m_inProcess.insert(progId.toLower(), std::move(factory));
}

void ComponentRegistry::unregisterInProcess(const QString &progId)
{
    m_inProcess.remove(progId.toLower());
}

HRESULT ComponentRegistry::callRegistration(const QString &libraryPath, bool doRegister, QString *errorText)
{
    QLibrary *library = load(libraryPath, errorText);
    if (!library)
        return E_FAIL;
    const char *name = doRegister ? "DllRegisterServer" : "DllUnregisterServer";
    auto entry = reinterpret_cast<DllRegisterServerFn>(library->resolve(name));
    if (!entry) {
        if (errorText)
            *errorText = libraryPath % QStringLiteral(" does not export ") % QLatin1String(name);
        return E_FAIL;
    }
    return entry();
}

QString ComponentRegistry::libraryPathOf(const void *address)
{
    Dl_info info{};
    if (!dladdr(address, &info) || !info.dli_fname)
        return {};
    const QFileInfo file(QString::fromLocal8Bit(info.dli_fname));
    const QString canonical = file.canonicalFilePath();
    return canonical.isEmpty() ? file.absoluteFilePath() : canonical;
}

void LiveObjects::track(QObject *object)
{
    if (!object)
        return;
    ++m_count;
    QObject::connect(object, &QObject::destroyed, [this] { --m_count; });
}

HRESULT registerClasses(std::span<const ClassEntry> classes)
{
    if (classes.empty())
        return S_OK;
    const QString library = ComponentRegistry::libraryPathOf(classes.data());
    if (library.isEmpty())
        return SELFREG_E_CLASS;
    for (const ClassEntry &entry : classes) {
        if (!ComponentRegistry::instance().registerClass(QString::fromLatin1(entry.progId),
                                                         QString::fromLatin1(entry.clsid), library))
            return SELFREG_E_CLASS;
    }
    return S_OK;
}

HRESULT unregisterClasses(std::span<const ClassEntry> classes)
{
    for (const ClassEntry &entry : classes) {
        if (!ComponentRegistry::instance().unregisterClass(QString::fromLatin1(entry.progId)))
            return SELFREG_E_CLASS;
    }
    return S_OK;
}

HRESULT getClassObject(std::span<const ClassEntry> classes, const char *clsid, ClassFactory *factory)
{
    if (!factory || !clsid)
        return E_FAIL;
    *factory = nullptr;
    for (const ClassEntry &entry : classes) {
        if (qstricmp(entry.clsid, clsid) == 0) {
            *factory = entry.factory;
            return S_OK;
        }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

void registerInProcess(std::span<const ClassEntry> classes)
{
    for (const ClassEntry &entry : classes)
        ComponentRegistry::instance().registerInProcess(QLatin1String(entry.progId), entry.factory);
}

HRESULT canUnloadNow(const LiveObjects &live)
{
    return live.count() == 0 ? S_OK : S_FALSE;
}

} // namespace platform
