// qel uuid, qel sysinfo and qel version: identifiers, facts about this machine, and the
// version text of a build description.
#include "commands.h"
#include "io.h"
#include "options.h"
#include "system.h"

#include <qel/sysinfo.h>
#include <qel/uuid.h>
#include <qel/version.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace qel_tool {
namespace {

// One line of the table or one member of the JSON object, where numbers and flags are bare.
struct fact {
    enum kind { text, number, flag };
    const char* key;
    const char* label;
    std::string value; // flags: "true" or "false"
    kind type = text;
};

std::string flag(bool value) {
    return value ? "true" : "false";
}

std::vector<fact> collect_facts() {
    qel::memory_info total;
    qel::memory_info available;
    qel::get_memory_info(total, available);
    const auto n = [](auto value) { return std::to_string(value); };
    return {
        {"computer", "computer", to_utf8(qel::get_system_name())},
        {"user", "user", to_utf8(qel::get_current_user_name())},
        {"user_admin", "user is administrator", flag(qel::is_current_user_admin()), fact::flag},
        {"process_admin", "process is administrator", flag(qel::is_current_process_admin()),
         fact::flag},
        {"processor", "processor", to_utf8(qel::get_processor_description())},
        {"processors", "processors", n(qel::get_processors_number()), fact::number},
        {"os_name", "system", to_utf8(qel::get_os_name())},
        {"os_version", "system version", to_utf8(qel::get_os_version())},
        {"os_bits", "system bits", to_utf8(qel::get_os_xbit())},
        {"os_description", "system description", to_utf8(qel::get_os_description())},
        {"server_os", "server system", flag(qel::is_server_os()), fact::flag},
        {"os_architecture", "system architecture",
         qel::to_string(qel::get_current_os_architecture())},
        {"process_architecture", "process architecture",
         qel::to_string(qel::get_current_process_architecture())},
        {"process_id", "process id", n(qel::get_current_process_id()), fact::number},
        {"thread_id", "thread id", n(qel::get_current_thread_id()), fact::number},
        {"physical_total", "physical memory", n(total.physical_size), fact::number},
        {"physical_available", "physical memory available", n(available.physical_size),
         fact::number},
        {"commit_total", "commit limit", n(total.page_file_size), fact::number},
        {"commit_available", "commit available", n(available.page_file_size), fact::number},
        {"virtual_total", "address space", n(total.virtual_size), fact::number},
        {"virtual_available", "address space available", n(available.virtual_size), fact::number},
    };
}

std::string json_text(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", u);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

// The folder whose "build.ini" is meant: a folder itself, the folder of a file named
// build.ini, or a scratch folder holding a copy of standard input.
class build_ini_folder {
public:
    explicit build_ini_folder(const std::string& name) {
        if (name == "-") {
            std::random_device seed;
            scratch_.path =
                std::filesystem::temp_directory_path() / (".qel-version-" + std::to_string(seed()));
            std::filesystem::create_directory(scratch_.path);
            input_source input("-");
            std::ofstream copy(scratch_.path / "build.ini", std::ios::binary);
            char buffer[4096];
            std::size_t count = 0;
            do {
                input.stream().read(buffer, sizeof buffer, &count);
                copy.write(buffer, static_cast<std::streamsize>(count));
            } while (count == sizeof buffer);
            input.check();
            folder_ = scratch_.path.wstring();
            return;
        }
        const std::wstring path = from_utf8(name);
        const sys::file_facts facts = sys::inspect(path);
        if (facts.kind == sys::file_kind::missing)
            throw failure(exit_failure, quoted(name) + ": " + sys::error_text(facts.error));
        if (facts.kind == sys::file_kind::directory) {
            folder_ = path;
        } else {
            const std::filesystem::path file(path);
            std::wstring base = file.filename().wstring();
            for (wchar_t& c : base)
                c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
            if (base != L"build.ini")
                usage_error(quoted(name) + " is not named build.ini");
            folder_ = sys::folder_of(path);
        }
        if (folder_.empty())
            folder_ = L".";
        if (sys::inspect(folder_ + L"/build.ini").kind != sys::file_kind::regular)
            throw failure(exit_failure, "no build.ini in " + quoted(to_utf8(folder_)));
    }
    const std::wstring& folder() const { return folder_; }

private:
    // A member, so that it goes away even when the constructor throws.
    struct scratch_folder {
        std::filesystem::path path;
        scratch_folder() = default;
        scratch_folder(const scratch_folder&) = delete;
        scratch_folder& operator=(const scratch_folder&) = delete;
        ~scratch_folder() {
            std::error_code ignored;
            if (!path.empty())
                std::filesystem::remove_all(path, ignored);
        }
    };

    scratch_folder scratch_;
    std::wstring folder_;
};

} // namespace

int run_uuid(const arguments& args) {
    const parsed_options given = parse_options(args, {{"--count", "-n", true}});
    if (!given.operands.empty())
        usage_error("unexpected operand '" + given.operands[0] + "'");
    long count = 1;
    if (given.has("--count")) {
        const std::string text = given.value("--count");
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
        if (error != std::errc() || end != text.data() + text.size() || count < 1 ||
            count > 1000000)
            usage_error("-n wants a count from 1 to 1000000, not '" + text + "'");
    }
    std::string text;
    std::string lines;
    for (long i = 0; i < count; ++i) {
        qel::uuid value;
        qel::generate_new_uuid(value);
        qel::uuid_to_str(value, text);
        lines.append(text).push_back('\n');
    }
    std::cout << lines << std::flush;
    return std::cout ? 0 : exit_failure;
}

int run_sysinfo(const arguments& args) {
    const parsed_options given = parse_options(args, {{"--json", nullptr, false}});
    if (!given.operands.empty())
        usage_error("unexpected operand '" + given.operands[0] + "'");
    const std::vector<fact> facts = collect_facts();
    if (given.has("--json")) {
        std::cout << "{";
        const char* separator = "\n";
        for (const fact& f : facts) {
            std::cout << separator << "  \"" << f.key
                      << "\": " << (f.type == fact::text ? json_text(f.value) : f.value);
            separator = ",\n";
        }
        std::cout << "\n}\n";
    } else {
        for (const fact& f : facts) {
            std::string label = f.label;
            label.resize(28, ' ');
            std::cout << label
                      << (f.type != fact::flag ? f.value
                          : f.value == "true"  ? "yes"
                                               : "no")
                      << "\n";
        }
    }
    return std::cout.flush() ? 0 : exit_failure;
}

int run_version(const arguments& args) {
    const parsed_options given =
        parse_options(args, {{"--template", "-t", true}, {"--section", nullptr, true}});
    if (given.operands.size() > 1)
        usage_error("expected at most one build.ini");
    const build_ini_folder where(given.operands.empty() ? "." : given.operands[0]);
    qel::software_version version;
    const std::wstring section = from_utf8(given.value("--section", "Platform"));
    version.read(where.folder(), section.c_str());
    std::cout << to_utf8(qel::get_version_string(version, from_utf8(given.value("--template"))))
              << "\n";
    return std::cout.flush() ? 0 : exit_failure;
}

} // namespace qel_tool
