// A 10,000-key INI file (100 sections of 100 keys, with comments and blank lines) loaded,
// queried, and loaded with every key read once by qel3's profile, POCO's IniFileConfiguration and
// Qt's QSettings in INI format. Loading means reading the file and building each library's lookup
// structure; querying reads every key once by section and name from a loaded object.
#include <qel/profile.h>

#include <Poco/AutoPtr.h>
#include <Poco/Util/IniFileConfiguration.h>
#include <QSettings>
#include <QString>
#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int sections = 100;
constexpr int keys_per_section = 100;

struct sample {
    std::filesystem::path path;
    std::vector<std::wstring> wide_sections, wide_keys;
    std::vector<std::string> poco_names;
    std::vector<QString> qt_names;

    sample() {
        std::random_device seed;
        path = std::filesystem::temp_directory_path() /
               ("qel3-profile-bench-" + std::to_string(seed()) + ".ini");
        std::ofstream out(path, std::ios::binary);
        out << "; generated profile\r\n";
        for (int s = 0; s < sections; ++s) {
            const std::string section = "Section" + std::to_string(s);
            out << "\r\n[" << section << "]\r\n; keys of " << section << "\r\n";
            for (int k = 0; k < keys_per_section; ++k) {
                const std::string key = "key_" + std::to_string(k);
                out << key << " = value " << s * keys_per_section + k
                    << " of a typical setting\r\n";
                wide_sections.emplace_back(section.begin(), section.end());
                wide_keys.emplace_back(key.begin(), key.end());
                poco_names.push_back(section + "." + key);
                qt_names.push_back(QString::fromStdString(section + "/" + key));
            }
        }
        out.close();
        // Every library loads these in turn, so no load finds a file its predecessor left
        // hot in a library's own cache.
        for (int i = 0; i < 64; ++i) {
            copies.push_back(path.string() + "." + std::to_string(i) + ".ini");
            std::filesystem::copy_file(path, copies.back());
        }
    }
    ~sample() {
        std::filesystem::remove(path);
        for (const auto& copy : copies)
            std::filesystem::remove(copy);
    }

    std::vector<std::filesystem::path> copies;
};

const sample& data() {
    static const sample instance;
    return instance;
}

void qel_load(benchmark::State& state) {
    std::vector<std::wstring> names;
    for (const auto& copy : data().copies)
        names.push_back(copy.wstring());
    std::size_t next = 0;
    for (auto _ : state) {
        qel::profile p(names[next++ % names.size()]);
        p.set_autosave(false);
        benchmark::DoNotOptimize(p.is_section_exist(L"Section0"));
    }
    state.SetItemsProcessed(state.iterations() * sections * keys_per_section);
}

void poco_load(benchmark::State& state) {
    std::vector<std::string> names;
    for (const auto& copy : data().copies)
        names.push_back(copy.string());
    std::size_t next = 0;
    for (auto _ : state) {
        Poco::AutoPtr<Poco::Util::IniFileConfiguration> config(
            new Poco::Util::IniFileConfiguration(names[next++ % names.size()]));
        benchmark::DoNotOptimize(config->hasProperty("Section0.key_0"));
    }
    state.SetItemsProcessed(state.iterations() * sections * keys_per_section);
}

void qt_load(benchmark::State& state) {
    std::vector<QString> names;
    for (const auto& copy : data().copies)
        names.push_back(QString::fromStdString(copy.string()));
    std::size_t next = 0;
    auto stamp = std::filesystem::last_write_time(data().copies[0]);
    for (auto _ : state) {
        // A cached file is read again only once its time stamp has changed.
        state.PauseTiming();
        stamp += std::chrono::seconds(1);
        std::filesystem::last_write_time(data().copies[next % names.size()], stamp);
        state.ResumeTiming();
        QSettings settings(names[next++ % names.size()], QSettings::IniFormat);
        // QSettings reads the file on first use.
        benchmark::DoNotOptimize(settings.contains(QStringLiteral("Section0/key_0")));
    }
    state.SetItemsProcessed(state.iterations() * sections * keys_per_section);
}

void qel_query(benchmark::State& state) {
    qel::profile p(data().path.wstring());
    p.set_autosave(false);
    const std::wstring none;
    for (auto _ : state) {
        for (std::size_t i = 0; i < data().wide_keys.size(); ++i)
            benchmark::DoNotOptimize(p.read(data().wide_sections[i], data().wide_keys[i], none));
    }
    state.SetItemsProcessed(state.iterations() * sections * keys_per_section);
}

void poco_query(benchmark::State& state) {
    Poco::AutoPtr<Poco::Util::IniFileConfiguration> config(
        new Poco::Util::IniFileConfiguration(data().path.string()));
    for (auto _ : state) {
        for (const std::string& name : data().poco_names)
            benchmark::DoNotOptimize(config->getString(name, ""));
    }
    state.SetItemsProcessed(state.iterations() * sections * keys_per_section);
}

void qt_query(benchmark::State& state) {
    QSettings settings(QString::fromStdString(data().path.string()), QSettings::IniFormat);
    for (auto _ : state) {
        for (const QString& name : data().qt_names)
            benchmark::DoNotOptimize(settings.value(name).toString());
    }
    state.SetItemsProcessed(state.iterations() * sections * keys_per_section);
}

// Qt's load only finds the section headers and parses a section on its first use, so the
// whole cost shows only with every key read once.
void qel_load_read_all(benchmark::State& state) {
    const std::wstring none;
    for (auto _ : state) {
        qel::profile p(data().copies[0].wstring());
        p.set_autosave(false);
        for (std::size_t i = 0; i < data().wide_keys.size(); ++i)
            benchmark::DoNotOptimize(p.read(data().wide_sections[i], data().wide_keys[i], none));
    }
    state.SetItemsProcessed(state.iterations() * sections * keys_per_section);
}

void poco_load_read_all(benchmark::State& state) {
    for (auto _ : state) {
        Poco::AutoPtr<Poco::Util::IniFileConfiguration> config(
            new Poco::Util::IniFileConfiguration(data().copies[0].string()));
        for (const std::string& name : data().poco_names)
            benchmark::DoNotOptimize(config->getString(name, ""));
    }
    state.SetItemsProcessed(state.iterations() * sections * keys_per_section);
}

void qt_load_read_all(benchmark::State& state) {
    const QString name = QString::fromStdString(data().copies[0].string());
    auto stamp = std::filesystem::last_write_time(data().copies[0]);
    for (auto _ : state) {
        state.PauseTiming();
        stamp += std::chrono::seconds(1);
        std::filesystem::last_write_time(data().copies[0], stamp);
        state.ResumeTiming();
        QSettings settings(name, QSettings::IniFormat);
        for (const QString& key : data().qt_names)
            benchmark::DoNotOptimize(settings.value(key).toString());
    }
    state.SetItemsProcessed(state.iterations() * sections * keys_per_section);
}

} // namespace

BENCHMARK(qel_load_read_all)->Unit(benchmark::kMillisecond);
BENCHMARK(poco_load_read_all)->Unit(benchmark::kMillisecond);
BENCHMARK(qt_load_read_all)->Unit(benchmark::kMillisecond);
BENCHMARK(qel_load)->Unit(benchmark::kMillisecond);
BENCHMARK(poco_load)->Unit(benchmark::kMillisecond);
BENCHMARK(qt_load)->Unit(benchmark::kMillisecond);
BENCHMARK(qel_query)->Unit(benchmark::kMillisecond);
BENCHMARK(poco_query)->Unit(benchmark::kMillisecond);
BENCHMARK(qt_query)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
