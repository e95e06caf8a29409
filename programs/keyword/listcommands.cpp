// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/listcommands.h"

#include "programs/keyword/keywordcommand.h"
#include "programs/keyword/terminaltext.h"

using namespace pellix::client;

namespace {

// The path of the keyword relative to its parent.
QString nameBelow(const QString &keyword, const QString &parent)
{
    const bool isBelow = keyword.startsWith(parent) && keyword.size() > parent.size() + 1
        && parent != QLatin1String("/");
    return shownText(isBelow ? keyword.mid(parent.size() + 1)
                             : keyword.mid(keyword.startsWith(QLatin1Char('/')) ? 1 : 0));
}

} // namespace

ListCommand::ListCommand(const Settings &settings, Output *output)
    : ClientCommand(settings, output), isTree(settings.command == QLatin1String("tree")),
      walk(&connection, settings.type, settings.access)
{
    connect(&walk, &KeywordWalk::progressed, this, [this] {
        answered();
        progress.show(progressText(walk));
    });
    connect(&walk, &KeywordWalk::finished, this, &ListCommand::print);
}

void ListCommand::begin()
{
    const QStringList roots =
        settings.arguments.isEmpty() ? QStringList(QStringLiteral("/")) : settings.arguments;
    walk.start(roots, isTree ? settings.depth.value_or(0) : 1);
}

void ListCommand::print()
{
    progress.clear();
    ExitCode end = ExitCode::Success;
    for (const KeywordWalk::Item &item : walk.items())
        nameWidth = qMax(nameWidth, columnsOf(shownText(item.keyword)));
    for (size_t i = 0; i < walk.items().size() && walk.items().at(i).depth == 0; ++i) {
        const KeywordWalk::Item &root = walk.items().at(i);
        if (root.children.empty()) {
            complain(root.keyword + QStringLiteral(": nothing below it"));
            end = ExitCode::NotFound;
            continue;
        }
        if (!output->isText()) {
            printRows(root);
        } else if (isTree) {
            output->line(shownText(root.keyword).toUtf8());
            printText(root, {}, root.keyword);
        } else {
            for (const int child : root.children) {
                const KeywordWalk::Item &item = walk.items().at(size_t(child));
                const QString name = shownText(item.keyword);
                output->line(item.type.isEmpty()
                                 ? name.toUtf8()
                                 : padded(name, nameWidth) + "  " + shownText(item.type).toUtf8());
            }
        }
    }
    finish(end);
}

void ListCommand::printText(const KeywordWalk::Item &item, const QString &indent,
                            const QString &parent)
{
    for (const int child : item.children) {
        const KeywordWalk::Item &below = walk.items().at(size_t(child));
        const bool isLast = child == item.children.back();
        const QString branch = indent + (isLast ? QStringLiteral("└── ") : QStringLiteral("├── "));
        const QByteArray type =
            below.type.isEmpty() ? QByteArray() : "  " + shownText(below.type).toUtf8();
        const QByteArray name = nameBelow(below.keyword, parent).toUtf8();
        output->line(
            branch.toUtf8() + name
            + (output->colored() && !type.isEmpty() ? "\033[2m" + type + "\033[0m" : type));
        printText(below, indent + (isLast ? QStringLiteral("    ") : QStringLiteral("│   ")),
                  below.keyword);
    }
}

void ListCommand::printRows(const KeywordWalk::Item &item)
{
    for (const int child : item.children) {
        const KeywordWalk::Item &below = walk.items().at(size_t(child));
        Row row {{"keyword", below.keyword}, {"type", output->word(below.type)}};
        if (isTree) {
            row.emplace_back("depth", below.depth);
            row.emplace_back("children", int(below.children.size()));
        }
        output->row(row);
        printRows(below);
    }
}
