// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Writes the file that describes the module PellixClient.Keyword to QML tools, from the
// meta-objects of its classes.

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "client/websocketkeywordclient.h"
#include "models/keywordpathmodel.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"

#include <QtCore/QFile>
#include <QtCore/QMetaEnum>
#include <QtCore/QMetaMethod>
#include <QtCore/QMetaProperty>
#include <QtCore/QSaveFile>
#include <QtCore/QTextStream>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

using namespace pellix::client;

namespace {

struct Export
{
    const QMetaObject *meta;
    const char *name;
    const char *header; // which the C++ of qmltc includes, from where all our headers are
    bool creatable;
};

// What PellixClientKeywordModule registers from C++. The class PAbstractKeywordExpression has no
// line of its own: its name in QML is taken over by the concrete class.
const std::array exports {
    Export {&pellix::client::staticMetaObject, "PKeyword", "client/keywordtypes.h", false},
    Export {&PKeywordClient::staticMetaObject, "PKeywordClient", "client/keywordclient.h", false},
    Export {&PWebSocketKeywordClient::staticMetaObject, "PWebSocketKeywordClient",
            "client/websocketkeywordclient.h", true},
    Export {&PInProcessKeywordClient::staticMetaObject, "PInProcessKeywordClient",
            "client/inprocesskeywordclient.h", true},
    Export {&PKeywordProxy::staticMetaObject, "PKeywordProxy", "binding/keywordproxy.h", true},
    Export {&PKeywordExpression::staticMetaObject, "PKeywordExpression",
            "binding/keywordexpression.h", true},
    Export {&PPostfixKeywordExpression::staticMetaObject, "PPostfixKeywordExpression",
            "binding/keywordexpression.h", true},
    Export {&PListPostfixKeywordExpression::staticMetaObject, "PListPostfixKeywordExpression",
            "binding/keywordexpression.h", true},
    Export {&PKeywordQueryModel::staticMetaObject, "PKeywordQueryModel",
            "models/keywordquerymodel.h", true},
    Export {&PKeywordQueryFilterProxyModel::staticMetaObject, "PKeywordQueryFilterProxyModel",
            "models/keywordqueryfilterproxymodel.h", true},
    Export {&PKeywordPathModel::staticMetaObject, "PKeywordPathModel", "models/keywordpathmodel.h",
            true},
};

class Writer
{
public:
    explicit Writer(QIODevice *device) : out(device) { }

    void module();

private:
    void component(const QMetaObject *meta, const char *header, const Export *exported);
    void uuid();
    void enumeration(const QMetaEnum &enumeration);
    void property(const QMetaProperty &property);
    void method(const QMetaMethod &method);
    QString propertyType(const QMetaProperty &property) const;
    QString type(const QByteArray &name) const;

    QTextStream out;
};

void Writer::module()
{
    out << "import QtQuick.tooling 1.2\n\n"
           "// Describes PellixClient.Keyword to tools; made from the library, not to be "
           "edited.\n\n"
           "Module {\n";
    std::vector<const QMetaObject *> bases; // written without a name for QML, each once
    for (const Export &exported : exports) {
        component(exported.meta, exported.header, &exported);
        for (const QMetaObject *base = exported.meta->superClass();
             base && base != &QObject::staticMetaObject; base = base->superClass()) {
            const auto isBase = [base](const Export &other) { return other.meta == base; };
            if (std::none_of(exports.begin(), exports.end(), isBase)
                && std::find(bases.begin(), bases.end(), base) == bases.end())
                bases.push_back(base);
        }
    }
    for (const QMetaObject *base : bases) {
        const bool isOurs = base == &PAbstractKeywordExpression::staticMetaObject;
        component(base, isOurs ? "binding/keywordexpression.h" : nullptr, nullptr);
    }
    uuid();
    out << "}\n";
}

void Writer::component(const QMetaObject *meta, const char *header, const Export *exported)
{
    out << "    Component {\n";
    if (header)
        out << "        file: \"" << header << "\"\n";
    out << "        name: \"" << meta->className() << "\"\n"
        << "        accessSemantics: \""
        << (meta->inherits(&QObject::staticMetaObject) ? "reference" : "none") << "\"\n";
    if (meta->superClass())
        out << "        prototype: \"" << meta->superClass()->className() << "\"\n";
    if (exported) {
        out << "        exports: [\"PellixClient.Keyword/" << exported->name << " 1.0\"]\n";
        if (!exported->creatable)
            out << "        isCreatable: false\n";
        out << "        exportMetaObjectRevisions: [256]\n";
    }
    for (int i = meta->enumeratorOffset(); i < meta->enumeratorCount(); ++i)
        enumeration(meta->enumerator(i));
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i)
        property(meta->property(i));
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        if (meta->method(i).access() == QMetaMethod::Public)
            method(meta->method(i));
    }
    out << "    }\n";
}

// The type of a parameter of keyIndexResponse(). Without it, later versions of qmllint warn of
// every handler of that signal. Qt 6.4 does not warn, and would then compile what a handler reads
// from the other parameter, a QVariant, as wrongly as it does with properties.
void Writer::uuid()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    out << "    Component {\n"
           "        file: \"QtCore/quuid.h\"\n"
           "        name: \"QUuid\"\n"
           "        accessSemantics: \"value\"\n"
           "    }\n";
#endif
}

// Never marked as scoped: QML names an enumerator without its enumeration, as PKeyword.KVT_DOUBLE.
void Writer::enumeration(const QMetaEnum &enumeration)
{
    out << "        Enum {\n"
        << "            name: \"" << enumeration.name() << "\"\n"
        << "            values: {\n";
    for (int i = 0; i < enumeration.keyCount(); ++i) {
        out << "                \"" << enumeration.key(i) << "\": " << enumeration.value(i)
            << (i + 1 < enumeration.keyCount() ? ",\n" : "\n");
    }
    out << "            }\n"
        << "        }\n";
}

void Writer::property(const QMetaProperty &property)
{
    out << "        Property { name: \"" << property.name() << "\"; " << propertyType(property);
    if (property.hasNotifySignal())
        out << "; notify: \"" << property.notifySignal().name() << '"';
    out << "; index: " << property.relativePropertyIndex();
    if (!property.isWritable())
        out << "; isReadonly: true";
    if (property.isFinal())
        out << "; isFinal: true";
    if (property.isConstant())
        out << "; isConstant: true";
    out << " }\n";
}

void Writer::method(const QMetaMethod &method)
{
    out << "        " << (method.methodType() == QMetaMethod::Signal ? "Signal" : "Method")
        << " {\n"
        << "            name: \"" << method.name() << "\"\n";
    if (method.returnMetaType().id() != QMetaType::Void)
        out << "            " << type(method.returnMetaType().name()) << '\n';
    const QList<QByteArray> names = method.parameterNames();
    for (int i = 0; i < method.parameterCount(); ++i) {
        out << "            Parameter { ";
        if (!names.at(i).isEmpty())
            out << "name: \"" << names.at(i) << "\"; ";
        out << type(method.parameterMetaType(i).name()) << " }\n";
    }
    out << "        }\n";
}

// The QML compiler of Qt 6.4 knows only bool, int, double, text and null in a QVariant. A
// qlonglong, which every whole number of a server is, a list or a map silently becomes undefined,
// and a unary minus becomes C++ that does not compile. Qt 6.5 and later convert them.
//
// That compiler cannot form a list of lists: it leaves an expression that reads one, and nothing
// else, to the interpreter, while qmllint has a type and does not object. A type that is not known
// has the same effect, but warnings as well; void makes the compiler write nonsense. Later versions
// of qmllint would object to the list of lists.
QString Writer::propertyType(const QMetaProperty &property) const
{
#if QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
    // These hold a bool, which is compiled correctly.
    static const std::array flags {QLatin1String("valueValid"), QLatin1String("valueLabelValid")};
    const bool isFlag =
        std::find(flags.begin(), flags.end(), QLatin1String(property.name())) != flags.end();
    if (property.metaType().id() == QMetaType::QVariant && !isFlag)
        return QStringLiteral("type: \"QVariantList\"; isList: true");
#endif
    return type(property.metaType().name());
}

// "QObject*" and "QList<int>" are named by what they point to and hold.
QString Writer::type(const QByteArray &name) const
{
    QByteArray plain = name;
    QString flags;
    if (plain.startsWith("QList<") && plain.endsWith('>')) {
        plain = plain.mid(6, plain.size() - 7);
        flags += QLatin1String("; isList: true");
    }
    if (plain.endsWith('*')) {
        plain = plain.chopped(1).trimmed();
        flags += QLatin1String("; isPointer: true");
    }
    return QStringLiteral("type: \"%1\"%2").arg(QString::fromLatin1(plain), flags);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2) {
        QTextStream(stderr) << "Usage: pellixclient-qmltypes FILE\n";
        return EXIT_FAILURE;
    }
    QSaveFile file(QFile::decodeName(argv[1]));
    if (file.open(QIODevice::WriteOnly)) {
        Writer(&file).module();
        if (file.commit())
            return EXIT_SUCCESS;
    }
    QTextStream(stderr) << file.fileName() << ": " << file.errorString() << '\n';
    return EXIT_FAILURE;
}
