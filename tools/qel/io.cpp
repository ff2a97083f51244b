#include "io.h"

#include <iostream>
#include <random>

namespace qel_tool {
namespace {

constexpr std::size_t write_buffer_size = 256 << 10;
constexpr std::int64_t progress_threshold = 16 << 20;

std::wstring temporary_name_beside(const std::wstring& target) {
    std::random_device seed;
    std::wstring suffix;
    for (std::uint32_t value = seed(), i = 0; i < 8; ++i, value >>= 4)
        suffix.push_back(L"0123456789abcdef"[value & 0xF]);
    return sys::folder_of(target) + L".qel-" + suffix + L".tmp";
}

} // namespace

// handle_stream

handle_stream::~handle_stream() {
    if (owned_ && handle_ != sys::no_handle) {
        int ignored = 0;
        sys::close(handle_, ignored);
    }
}

void handle_stream::note_failure(int code) {
    if (error_ == 0)
        error_ = code != 0 ? code : -1;
}

std::string handle_stream::reason() const {
    if (error_ == 0)
        return "";
    return error_ == -1 ? "failed" : sys::error_text(error_);
}

void handle_stream::read(void* buffer, std::size_t size, std::size_t* read_count) {
    // Fills the whole buffer unless the input ends: a short count means the end.
    auto p = static_cast<char*>(buffer);
    std::size_t done = 0;
    while (done < size && ok()) {
        int code = 0;
        std::int64_t n = sys::read(handle_, p + done, size - done, code);
        if (n < 0)
            note_failure(code);
        else if (n == 0)
            end_ = true;
        else
            done += static_cast<std::size_t>(n);
    }
    read_ += done;
    drained_ = done == 0 && size > 0;
    if (observer_ && done > 0)
        observer_(read_);
    if (read_count)
        *read_count = done;
}

void handle_stream::write(const void* data, std::size_t size) {
    if (error())
        return;
    auto p = static_cast<const char*>(data);
    written_ += size;
    if (pending_.size() + size <= write_buffer_size) {
        pending_.insert(pending_.end(), p, p + size);
        return;
    }
    flush();
    int code = 0;
    if (!error() && !sys::write(handle_, p, size, code))
        note_failure(code);
}

char handle_stream::get() {
    char c = 0;
    read(&c, 1, nullptr);
    return c;
}

void handle_stream::put(char c) {
    write(&c, 1);
}

void handle_stream::flush() {
    int code = 0;
    if (!pending_.empty() && !error() &&
        !sys::write(handle_, pending_.data(), pending_.size(), code))
        note_failure(code);
    pending_.clear();
}

void handle_stream::finish(bool commit_to_disk) {
    flush();
    int code = 0;
    if (commit_to_disk && !error() && !sys::commit(handle_, code))
        note_failure(code);
    if (owned_ && handle_ != sys::no_handle) {
        if (!sys::close(handle_, code))
            note_failure(code);
        handle_ = sys::no_handle;
    }
}

// input_source

input_source::input_source(const std::string& name) : name_(name) {
    if (name == "-") {
        stream_ = std::make_unique<handle_stream>(sys::standard_input(), false);
        return;
    }
    const std::wstring path = from_utf8(name);
    facts_ = sys::inspect(path);
    if (facts_.kind == sys::file_kind::missing)
        throw failure(exit_failure,
                      "cannot open " + quoted(name) + ": " + sys::error_text(facts_.error));
    if (facts_.kind == sys::file_kind::directory)
        throw failure(exit_failure, "cannot read " + quoted(name) + ": it is a folder");
    int code = 0;
    sys::handle h = sys::open_for_reading(path, code);
    if (h == sys::no_handle)
        throw failure(exit_failure, "cannot open " + quoted(name) + ": " + sys::error_text(code));
    stream_ = std::make_unique<handle_stream>(h, true);
}

void input_source::check() const {
    if (stream_->error())
        throw failure(exit_failure, "reading " + quoted(name_) + " failed: " + stream_->reason());
}

// output_target

output_target::output_target(const std::string& name, bool force, const input_source* input)
    : name_(name) {
    if (name == "-") {
        stream_ = std::make_unique<handle_stream>(sys::standard_output(), false);
        return;
    }
    // A link is followed: the file it leads to is replaced, and the link stays.
    target_ = sys::final_path(from_utf8(name));
    const sys::file_facts facts = sys::inspect(target_);
    if (input && sys::same_file(facts, input->facts()))
        throw failure(exit_usage,
                      quoted(input->name()) + " and " + quoted(name) + " are the same file");
    if (facts.kind == sys::file_kind::directory)
        throw failure(exit_failure, "cannot write " + quoted(name) + ": it is a folder");
    if (facts.kind == sys::file_kind::regular && !force)
        throw failure(exit_failure, quoted(name) + " exists (use --force to overwrite it)");
    if (facts.kind == sys::file_kind::regular && facts.read_only)
        throw failure(exit_failure, "cannot overwrite " + quoted(name) + ": it is read-only");
    int code = 0;
    if (facts.kind == sys::file_kind::other) {
        // A device or FIFO: nothing to replace, and nothing that could be removed.
        sys::handle h = sys::open_for_writing(target_, false, code);
        if (h == sys::no_handle)
            throw failure(exit_failure,
                          "cannot write " + quoted(name) + ": " + sys::error_text(code));
        stream_ = std::make_unique<handle_stream>(h, true);
        return;
    }
    sys::handle h = sys::no_handle;
    for (int attempt = 0; attempt < 16 && h == sys::no_handle; ++attempt) {
        temporary_ = temporary_name_beside(target_);
        h = sys::open_for_writing(temporary_, true, code);
    }
    if (h == sys::no_handle) {
        temporary_.clear();
        throw failure(exit_failure, "cannot create " + quoted(name) + ": " + sys::error_text(code));
    }
    sys::remove_on_interrupt(temporary_);
    stream_ = std::make_unique<handle_stream>(h, true);
    if (facts.kind == sys::file_kind::regular)
        sys::copy_permissions(target_, temporary_);
}

output_target::~output_target() {
    if (temporary_.empty() || committed_)
        return;
    stream_->finish(false);
    sys::remove_file(temporary_);
    sys::remove_on_interrupt(L"");
}

void output_target::check() const {
    if (stream_->error())
        throw failure(exit_failure,
                      "writing " + quoted(name_, true) + " failed: " + stream_->reason());
}

void output_target::commit() {
    stream_->finish(!temporary_.empty());
    check();
    if (temporary_.empty())
        return;
    int code = 0;
    if (!sys::replace_file(temporary_, target_, code))
        throw failure(exit_failure,
                      "cannot replace " + quoted(name_) + ": " + sys::error_text(code));
    committed_ = true;
    sys::remove_on_interrupt(L"");
}

// progress

progress::progress(const char* verb, input_source& input)
    : input_(input), verb_(verb), total_(input.size()),
      active_(total_ >= progress_threshold && sys::stderr_is_terminal()) {
    if (active_)
        input.stream().on_read([this](std::uint64_t done) { show(done); });
}

void progress::show(std::uint64_t done) {
    int percent = static_cast<int>(
        std::min<std::uint64_t>(done * 100 / static_cast<std::uint64_t>(total_), 100));
    if (percent == shown_percent_)
        return;
    shown_percent_ = percent;
    std::cerr << "\r" << verb_ << ": " << percent << "% (" << (done >> 20) << " of "
              << (total_ >> 20) << " MiB read)" << std::flush;
}

progress::~progress() {
    if (active_)
        input_.stream().on_read(nullptr);
    if (active_ && shown_percent_ >= 0)
        std::cerr << "\n";
}

} // namespace qel_tool
