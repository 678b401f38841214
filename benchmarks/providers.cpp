// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The database of providers, read and asked for every service of every country.

#include "programs.h"

#include <kestra/connection/serviceparser.h>

#include <QDomDocument>
#include <QFile>

#include <benchmark/benchmark.h>

namespace {

QString database() { return preparedPath("providers.xml"); }

void parseAndQuery(benchmark::State &state)
{
    int answers = 0;
    for (auto _ : state) {
        answers = 0;
        ServiceParser parser(database());
        QStringList countries;
        QStringList services;
        QObject::connect(&parser, &ServiceParser::foundCountry,
                         [&countries](const QString &code) { countries.append(code); });
        QObject::connect(&parser, &ServiceParser::foundService,
                         [&services](const QString &name) { services.append(name); });
        QObject::connect(&parser, &ServiceParser::sendServiceData, [&answers] { ++answers; });
        parser.getCountries();
        for (const QString &country : qAsConst(countries)) {
            services.clear();
            parser.getServicesForCountry(country);
            for (const QString &service : qAsConst(services))
                parser.requestServiceData(service);
        }
    }
    if (answers == 0)
        state.SkipWithError("the database is empty");
    state.counters["services"] = answers;
}

void parseOnly(benchmark::State &state)
{
    for (auto _ : state) {
        const ServiceParser parser(database());
        benchmark::DoNotOptimize(&parser);
    }
}

void setContent(benchmark::State &state)
{
    for (auto _ : state) {
        QFile file(database());
        QDomDocument document;
        if (!file.open(QIODevice::ReadOnly) || !document.setContent(&file))
            return state.SkipWithError("cannot read the database");
    }
}

}

BENCHMARK(parseAndQuery)->UseRealTime();
BENCHMARK(parseOnly)->UseRealTime();
BENCHMARK(setContent)->UseRealTime();
