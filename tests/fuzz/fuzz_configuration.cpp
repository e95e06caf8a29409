// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// A configuration of the gateway. There is either a configuration, whose mapping tests can be run
// and whose settings are equal to themselves, or a list of problems with their places.

#include "gateway/configuration.h"
#include "gateway/mqtt/mqttsourcetype.h"
#include "tests/fuzz/fuzz.h"

using namespace pellix::gateway;

void runInput(const QByteArray &input)
{
    if (input.contains("/dev/") || input.contains("/proc/") || input.contains("\\")
        || input.contains("..")) // no files that do not end
        return;
    static const MqttSourceType mqtt;
    ConfigurationProblems problems;
    const auto configuration = Configuration::parse(input, QString(), {&mqtt}, &problems);
    FUZZ_CHECK(configuration.has_value() == problems.isEmpty());
    for (const ConfigurationProblem &problem : std::as_const(problems)) {
        FUZZ_CHECK(problem.pointer.isEmpty() || problem.pointer.startsWith(QLatin1Char('/')));
        FUZZ_CHECK(!problem.text.isEmpty());
    }
    if (!configuration)
        return;
    for (const Configuration::Source &source : configuration->sources) {
        const MappingTests tests = source.settings->runTests(source.mount);
        FUZZ_CHECK(tests.run > 0 || tests.failed.isEmpty());
        FUZZ_CHECK(*source.settings == *source.settings);
        source.settings->toJson(nullptr);
    }
}
