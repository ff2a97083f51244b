// Records per second into one log file shared by 1 and 4 threads: qel3's log file stream
// beside spdlog's basic file sink flushed after every record and POCO's FileChannel with
// its flush after every message. All three write the same line: local date, time with
// milliseconds or hundredths, and the record's text with its number. qel3 opens and closes
// the file for every record; the peers keep it open. The bare system calls of both designs
// are measured too, as the floor under each.
#include <qel/log.h>

#include <Poco/AutoPtr.h>
#include <Poco/FileChannel.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/PatternFormatter.h>
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>

namespace {

const std::filesystem::path& folder() {
    static const std::filesystem::path path = [] {
        std::random_device seed;
        auto p =
            std::filesystem::temp_directory_path() / ("qel3-log-bench-" + std::to_string(seed()));
        std::filesystem::create_directories(p);
        return p;
    }();
    return path;
}

constexpr const char* text = "request served: the quick brown fox jumps over the lazy dog #";

void qel_log(benchmark::State& state) {
    static auto log = qel::log_file_stream_factory((folder() / "qel.log").wstring());
    int i = 0;
    for (auto _ : state) {
        qel::log_record record(*log);
        *log << text << std::to_string(++i);
    }
    state.SetItemsProcessed(state.iterations());
}

void spdlog_log(benchmark::State& state) {
    static auto logger = [] {
        auto made = spdlog::basic_logger_mt("bench", (folder() / "spdlog.log").string());
        made->set_pattern("%d.%m.%Y\t%H:%M:%S:%e\t%v");
        made->flush_on(spdlog::level::trace);
        return made;
    }();
    int i = 0;
    for (auto _ : state)
        logger->info("{}{}", text, ++i);
    state.SetItemsProcessed(state.iterations());
}

void poco_log(benchmark::State& state) {
    static Poco::Logger& logger = []() -> Poco::Logger& {
        Poco::AutoPtr<Poco::FileChannel> file(
            new Poco::FileChannel((folder() / "poco.log").string()));
        file->setProperty("flush", "true");
        Poco::AutoPtr<Poco::PatternFormatter> pattern(
            new Poco::PatternFormatter("%d.%m.%Y\t%H:%M:%S:%i\t%t"));
        pattern->setProperty("times", "local");
        Poco::AutoPtr<Poco::FormattingChannel> channel(new Poco::FormattingChannel(pattern, file));
        return Poco::Logger::create("bench", channel, Poco::Message::PRIO_INFORMATION);
    }();
    int i = 0;
    for (auto _ : state)
        logger.information(text + std::to_string(++i));
    state.SetItemsProcessed(state.iterations());
}

// The floor of both designs: the system calls alone, with a finished line and no lock.
const std::string floor_line = std::string("24.11.2026\t20:03:46:12\t") + text + "123456\n";

void syscalls_write(benchmark::State& state) {
    const int fd = ::open((folder() / "floor-write.log").c_str(),
                          O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    for (auto _ : state)
        benchmark::DoNotOptimize(::write(fd, floor_line.data(), floor_line.size()));
    ::close(fd);
    state.SetItemsProcessed(state.iterations());
}

void syscalls_open_write_close(benchmark::State& state) {
    const auto name = folder() / "floor-open.log";
    ::close(::open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    for (auto _ : state) {
        const int fd = ::open(name.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        benchmark::DoNotOptimize(::write(fd, floor_line.data(), floor_line.size()));
        ::close(fd);
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(syscalls_open_write_close)->Threads(1)->UseRealTime();
BENCHMARK(syscalls_write)->Threads(1)->UseRealTime();
BENCHMARK(qel_log)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(spdlog_log)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(poco_log)->Threads(1)->Threads(4)->UseRealTime();

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(folder());
    return 0;
}
