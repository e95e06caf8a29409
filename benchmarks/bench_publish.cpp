// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

using namespace pellix::client;

namespace {

class Emitter : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void value(const QVariant &value);
};

// Floor: one signal with a variant, connected to K functors.
void signalToFunctors(benchmark::State &state)
{
    Emitter emitter;
    int received = 0;
    for (int i = 0; i < state.range(0); ++i)
        QObject::connect(&emitter, &Emitter::value, &emitter,
                         [&](const QVariant &) { ++received; });
    const QVariant value(1.5);
    for (auto _ : state)
        Q_EMIT emitter.value(value);
    benchmark::DoNotOptimize(received);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(signalToFunctors)->Arg(1)->Arg(10)->Arg(1000);

// The floor with a separate emitter for each receiver: the same number of signals, each from one
// object to one functor.
void signalsToFunctors(benchmark::State &state)
{
    std::vector<std::unique_ptr<Emitter>> emitters;
    int received = 0;
    for (int i = 0; i < state.range(0); ++i) {
        emitters.push_back(std::make_unique<Emitter>());
        QObject::connect(emitters.back().get(), &Emitter::value, emitters.back().get(),
                         [&](const QVariant &) { ++received; });
    }
    const QVariant value(1.5);
    for (auto _ : state) {
        for (const auto &emitter : emitters)
            Q_EMIT emitter->value(value);
    }
    benchmark::DoNotOptimize(received);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(signalsToFunctors)->Arg(1)->Arg(10)->Arg(1000);

void publishToSubscribers(benchmark::State &state)
{
    PPublisher publisher;
    std::vector<std::unique_ptr<PSubscriber>> subscribers;
    int received = 0;
    for (int i = 0; i < state.range(0); ++i) {
        subscribers.push_back(std::make_unique<PSubscriber>());
        PSubscriber *const subscriber = subscribers.back().get();
        subscriber->setPublisher(&publisher);
        subscriber->setTopic(QStringLiteral("/plant/line3/motor17/speed"));
        QObject::connect(subscriber, &PSubscriber::valueChanged, subscriber,
                         [&](const QVariant &) { ++received; });
    }
    const QVariant value(1.5);
    const QString topic = QStringLiteral("/plant/line3/motor17/speed");
    for (auto _ : state)
        publisher.publish(topic, value);
    benchmark::DoNotOptimize(received);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(publishToSubscribers)->Arg(1)->Arg(10)->Arg(1000);

// One topic is published, among a growing number of other topics.
void publishAmongTopics(benchmark::State &state)
{
    PPublisher publisher;
    std::vector<std::unique_ptr<PSubscriber>> subscribers;
    int received = 0;
    for (int i = 0; i < state.range(0); ++i) {
        subscribers.push_back(std::make_unique<PSubscriber>());
        subscribers.back()->setPublisher(&publisher);
        subscribers.back()->setTopic(QStringLiteral("/plant/line3/motor%1/speed").arg(i));
    }
    QObject::connect(subscribers.front().get(), &PSubscriber::valueChanged,
                     subscribers.front().get(), [&](const QVariant &) { ++received; });
    const QVariant value(1.5);
    const QString topic = subscribers.front()->topic();
    for (auto _ : state)
        publisher.publish(topic, value);
    benchmark::DoNotOptimize(received);
}
BENCHMARK(publishAmongTopics)->Arg(10)->Arg(1000)->Arg(100000);

} // namespace

#include "bench_publish.moc"
