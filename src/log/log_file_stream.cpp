#include "log/record_file.h"

#include <qel/log.h>

#include <cwchar>
#include <mutex>

namespace qel {
namespace detail {

class LogFileStream_impl_ final : public ILogFileStream {
public:
    LogFileStream_impl_(const std::wstring& filename, const std::wstring& header, bool prefix,
                        const ILogTraits* traits)
        : filename_(filename), header_(header), prefix_(prefix),
          traits_(traits != nullptr ? traits : &default_log_traits()) {}

    bool begin_record() override {
        std::unique_lock<std::recursive_mutex> hold(lock_);
        // A record of this thread is in progress: the nested one stays inactive.
        if (!traits_->is_enabled(*this) || file_.is_open())
            return false;
        const auto opened = file_.open(filename_);
        if (opened == record_file::open_result::failed)
            return false;
        try {
            std::ostream& out = file_.stream();
            if (opened == record_file::open_result::created && !header_.empty()) {
                traits_->to_narrow(header_.data(), header_.size(), narrow_);
                out << narrow_ << '\n';
            }
            if (prefix_ && out.good()) {
                traits_->write_prefix(out);
                out << '\t';
            }
        } catch (...) {
            // The caller's traits threw: no record is left open behind the exception.
            file_.discard();
            throw;
        }
        hold.release();
        return true;
    }

    void end_record() override {
        try {
            if (file_.is_open())
                file_.close_record();
            traits_->on_record_end(*this);
        } catch (...) {
            // A record's end runs in destructors; failures show only as lost text.
        }
        lock_.unlock();
    }

    void lock() override { lock_.lock(); }
    void unlock() override { lock_.unlock(); }

    std::wstring get_filename() override {
        std::lock_guard<std::recursive_mutex> hold(lock_);
        return filename_;
    }
    void set_filename(const std::wstring& filename) override {
        std::lock_guard<std::recursive_mutex> hold(lock_);
        filename_ = filename;
    }
    std::wstring get_header() override {
        std::lock_guard<std::recursive_mutex> hold(lock_);
        return header_;
    }
    void set_header(const std::wstring& header) override {
        std::lock_guard<std::recursive_mutex> hold(lock_);
        header_ = header;
    }
    bool is_prefix_enabled() override {
        std::lock_guard<std::recursive_mutex> hold(lock_);
        return prefix_;
    }
    void set_prefix_enabled(bool enabled) override {
        std::lock_guard<std::recursive_mutex> hold(lock_);
        prefix_ = enabled;
    }

    void clear() override {
        std::lock_guard<std::recursive_mutex> hold(lock_);
        record_file::truncate(filename_);
    }

    bool is_record_open() override { return file_.is_open() && !file_.stream().fail(); }
    void write_narrow(const std::string& text) override { file_.stream() << text; }
    void write_wide(const wchar_t* text, std::uint64_t length) override {
        traits_->to_narrow(text, length, narrow_);
        file_.stream() << narrow_;
    }

private:
    std::recursive_mutex lock_;
    std::wstring filename_;
    std::wstring header_;
    bool prefix_;
    const ILogTraits* traits_;
    record_file file_;
    // Wide text converted for the file; reused under the lock.
    std::string narrow_;
};

} // namespace detail

ILogFileStream::~ILogFileStream() = default;

ILogFileStream& ILogFileStream::operator<<(const std::string& text) {
    if (is_record_open())
        write_narrow(text);
    return *this;
}

ILogFileStream& ILogFileStream::operator<<(const char* text) {
    if (is_record_open())
        write_narrow(std::string(text));
    return *this;
}

ILogFileStream& ILogFileStream::operator<<(char c) {
    if (is_record_open())
        write_narrow(std::string(1, c));
    return *this;
}

ILogFileStream& ILogFileStream::operator<<(const std::wstring& text) {
    if (is_record_open())
        write_wide(text.data(), text.size());
    return *this;
}

ILogFileStream& ILogFileStream::operator<<(const wchar_t* text) {
    if (is_record_open())
        write_wide(text, std::wcslen(text));
    return *this;
}

ILogFileStream& ILogFileStream::operator<<(wchar_t c) {
    if (is_record_open())
        write_wide(&c, 1);
    return *this;
}

std::unique_ptr<ILogFileStream> log_file_stream_factory(const std::wstring& filename) {
    return log_file_stream_factory(filename, std::wstring(), true, nullptr);
}

std::unique_ptr<ILogFileStream> log_file_stream_factory(const std::wstring& filename,
                                                        const std::wstring& header,
                                                        bool prefix_enabled,
                                                        const ILogTraits* traits) {
    return std::make_unique<detail::LogFileStream_impl_>(filename, header, prefix_enabled, traits);
}

log_record::log_record(ILogFileStream& stream)
    : stream_(stream.begin_record() ? &stream : nullptr) {}

log_record::log_record(log_record&& other) noexcept : stream_(other.stream_) {
    other.stream_ = nullptr;
}

log_record::~log_record() {
    if (stream_ != nullptr)
        stream_->end_record();
}

} // namespace qel
