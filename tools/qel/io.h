// Inputs and outputs of the commands. An output replaces an existing file only with complete
// output: the bytes go to a temporary file in the target's folder, which is committed to the
// disk and renamed over the target once the whole job has succeeded; on any failure or
// interrupt it is removed and the target stays as it was. Devices, FIFOs and standard output
// are written directly.
#pragma once

#include "commands.h"
#include "system.h"

#include <qel/stream.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qel_tool {

// An IStream over a system handle that keeps the system's reason for its first failure.
// Writes are buffered; flush() hands them to the system.
class handle_stream final : public qel::IStream {
public:
    handle_stream(sys::handle h, bool owned) : handle_(h), owned_(owned) {}
    handle_stream(const handle_stream&) = delete;
    handle_stream& operator=(const handle_stream&) = delete;
    ~handle_stream() override;

    void read(void* buffer, std::size_t size, std::size_t* read_count) override;
    void write(const void* data, std::size_t size) override;
    char get() override;
    void put(char c) override;
    void flush() override;
    void reset() override { end_ = false; }
    bool error() const override { return error_ != 0; }
    bool eof() const override { return end_; }
    bool ok() const override { return !end_ && error_ == 0; }
    std::fpos<int> seek(std::fpos<int>, int, int) override { return std::fpos<int>(-1); }
    std::fpos<int> get_pos(int) override { return std::fpos<int>(-1); }
    std::int64_t get_size() override { return -1; }

    // Flushes, commits to the disk when asked, and closes an owned handle.
    void finish(bool commit_to_disk);
    // The system's reason for the first failure, or "" when there was none.
    std::string reason() const;
    std::uint64_t bytes_read() const { return read_; }
    // The last read found nothing more: the reader asked past the end.
    bool drained() const { return drained_; }
    std::uint64_t bytes_written() const { return written_; }
    // Called with the running count of bytes read.
    void on_read(std::function<void(std::uint64_t)> observer) { observer_ = std::move(observer); }

private:
    void note_failure(int code);

    sys::handle handle_;
    bool owned_;
    bool end_ = false;
    bool drained_ = false;
    int error_ = 0;
    std::vector<char> pending_;
    std::uint64_t read_ = 0;
    std::uint64_t written_ = 0;
    std::function<void(std::uint64_t)> observer_;
};

// A named input, or standard input for "-".
class input_source {
public:
    explicit input_source(const std::string& name);

    handle_stream& stream() { return *stream_; }
    const std::string& name() const { return name_; }
    // The file's size, or -1 when it is not known in advance.
    std::int64_t size() const { return facts_.size; }
    const sys::file_facts& facts() const { return facts_; }
    // Throws the read failure, if there was one.
    void check() const;

private:
    std::string name_;
    sys::file_facts facts_;
    std::unique_ptr<handle_stream> stream_;
};

// A named output, or standard output for "-". Refuses (by throwing) to overwrite an existing
// file without `force`, to write into a folder, and to write over its own input.
class output_target {
public:
    output_target(const std::string& name, bool force, const input_source* input);
    output_target(const output_target&) = delete;
    output_target& operator=(const output_target&) = delete;
    ~output_target();

    handle_stream& stream() { return *stream_; }
    const std::string& name() const { return name_; }
    bool is_standard_output() const { return name_ == "-"; }
    // Ends the job: everything written reaches its place, or this throws and the target is
    // left as it was.
    void commit();
    // Throws the write failure, if there was one.
    void check() const;

private:
    std::string name_;
    std::wstring target_;
    std::wstring temporary_;
    std::unique_ptr<handle_stream> stream_;
    bool committed_ = false;
};

// A progress line on a terminal for inputs large enough to wait for: the share of the input
// consumed so far.
class progress {
public:
    progress(const char* verb, input_source& input);
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;
    ~progress();

private:
    void show(std::uint64_t done);

    input_source& input_;
    const char* verb_;
    std::int64_t total_;
    int shown_percent_ = -1;
    bool active_;
};

} // namespace qel_tool
