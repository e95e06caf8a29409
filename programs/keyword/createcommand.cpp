// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/listcommands.h"
#include "programs/keyword/pingcommand.h"
#include "programs/keyword/readcommands.h"
#include "programs/keyword/recordcommand.h"
#include "programs/keyword/replaycommand.h"
#include "programs/keyword/writecommand.h"

namespace {

template <typename Type> std::unique_ptr<Command> create(const Settings &settings, Output *output)
{
    return std::make_unique<Type>(settings, output);
}

} // namespace

std::unique_ptr<Command> createCommand(const Settings &settings, Output *output)
{
    using Create = std::unique_ptr<Command> (*)(const Settings &, Output *);
    static const QHash<QString, Create> commands = {
        {QStringLiteral("get"), create<GetCommand>},
        {QStringLiteral("watch"), create<WatchCommand>},
        {QStringLiteral("set"), create<WriteCommand>},
        {QStringLiteral("add"), create<WriteCommand>},
        {QStringLiteral("ls"), create<ListCommand>},
        {QStringLiteral("tree"), create<ListCommand>},
        {QStringLiteral("aggregate"), create<AggregateCommand>},
        {QStringLiteral("label"), create<LabelCommand>},
        {QStringLiteral("ping"), create<PingCommand>},
        {QStringLiteral("record"), create<RecordCommand>},
        {QStringLiteral("replay"), create<ReplayCommand>},
    };
    return commands.value(settings.command)(settings, output);
}
