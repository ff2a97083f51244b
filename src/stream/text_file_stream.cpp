#include "stream/file_stream_impl.h"
#include "stream/text_format_policy.h"

#include <qel/stream.h>

namespace qel {

ITextFileStream::~ITextFileStream() = default;

namespace detail {

class TextFileStream_impl_ final : public BasicFileStream_impl_<ITextFileStream> {
public:
    TextFileStream_impl_(const std::wstring& name, file_stream_mode mode,
                         const text_encoding& encoding) {
        switch (mode.get_rw()) {
        case mode_read:
            open_for_reading(name, mode.get(), encoding);
            break;
        case mode_write:
            open_for_writing(name, mode.get(), encoding);
            break;
        default:
            break; // both access bits or none: nothing opens, and no flag is set
        }
    }

    void close() override {
        BasicFileStream_impl_::close();
        encoding_ = text_encoding();
        policy_ = &dummy_text_format_policy();
    }

    const text_encoding& get_encoding() const override { return encoding_; }
    wchar_t read_char() override { return policy_->read_char(stream_, encoding_); }
    void write_char(wchar_t c) override { policy_->write_char(stream_, encoding_, c); }
    void read_line(std::wstring& line) override { policy_->read_line(stream_, encoding_, line); }
    void write_line(const wchar_t* line) override { policy_->write_line(stream_, encoding_, line); }
    void write_line(const std::wstring& line) override { write_line(line.c_str()); }
    void read_solid_text(std::wstring& text) override {
        policy_->read_solid_text(stream_, encoding_, text);
    }
    void write_solid_text(const wchar_t* text) override {
        policy_->write_solid_text(stream_, encoding_, text);
    }
    void write_solid_text(const std::wstring& text) override { write_solid_text(text.c_str()); }

private:
    void reopen_binary(const std::wstring& name, unsigned int mode) {
        BasicFileStream_impl_::close();
        open_(name, mode, true);
    }

    void open_for_reading(const std::wstring& name, unsigned int mode,
                          const text_encoding& requested) {
        const ITextFormatPolicy_impl_* policy = &text_format_policy(requested);
        const bool detect = (requested.flags() & flag_detect_signature) != 0;
        open_(name, mode, detect ? false : policy->is_binary());
        if (!is_open())
            return;
        encoding_ = requested;
        if (detect) {
            E_CharSet found = cs_default;
            std::size_t signature_size = 0;
            bool read_any = false;
            bool recognised = detect_signature(stream_, found, signature_size, read_any);
            if (read_any)
                buffer_.seek(static_cast<std::streamoff>(signature_size), std::ios_base::beg);
            stream_.clear();
            bool text_mode = true;
            if (recognised) {
                reopen_binary(name, mode);
                if (!is_open())
                    return close_after_failure();
                encoding_ = text_encoding(found);
                buffer_.seek(static_cast<std::streamoff>(signature_size), std::ios_base::beg);
                text_mode = false;
            }
            policy = &text_format_policy(encoding_);
            if (policy->is_binary() && text_mode) {
                reopen_binary(name, mode);
                if (!is_open())
                    return close_after_failure();
            }
        }
        policy_ = policy;
    }

    void open_for_writing(const std::wstring& name, unsigned int mode,
                          const text_encoding& requested) {
        encoding_ = requested;
        if (requested.flags() & flag_detect_signature)
            adopt_existing_charset(name);
        const ITextFormatPolicy_impl_& policy = text_format_policy(encoding_);
        open_(name, mode, policy.is_binary());
        if (!is_open())
            return close_after_failure();
        policy_ = &policy;
        const bool appending = (mode & mode_append) != 0;
        if (policy.is_binary() && !appending && !(encoding_.flags() & flag_no_signature))
            policy.write_signature(stream_);
    }

    // An existing file keeps its charset (ANSI when nothing marks it); a missing one gets
    // the requested encoding.
    void adopt_existing_charset(const std::wstring& name) {
        file_buffer existing;
        std::iostream reader(&existing);
        open_file_stream(existing, reader, name, file_stream_mode::read().get(), true);
        if (!existing.is_open())
            return;
        E_CharSet found = cs_default;
        std::size_t signature_size = 0;
        bool read_any = false;
        encoding_ = detect_signature(reader, found, signature_size, read_any) ? text_encoding(found)
                                                                              : text_encoding();
    }

    void close_after_failure() {
        encoding_ = text_encoding();
        policy_ = &dummy_text_format_policy();
    }

    text_encoding encoding_;
    const ITextFormatPolicy_impl_* policy_ = &dummy_text_format_policy();
};

} // namespace detail

std::unique_ptr<ITextFileStream> text_file_stream_factory(const std::wstring& name,
                                                          file_stream_mode mode,
                                                          const text_encoding& encoding) {
    return std::make_unique<detail::TextFileStream_impl_>(name, mode, encoding);
}

text_file_stream::text_file_stream() = default;
text_file_stream::text_file_stream(const std::wstring& name, file_stream_mode mode,
                                   const text_encoding& encoding)
    : impl_(text_file_stream_factory(name, mode, encoding)) {}
text_file_stream::text_file_stream(text_file_stream&& other) noexcept = default;
text_file_stream& text_file_stream::operator=(text_file_stream&& other) noexcept = default;
text_file_stream::~text_file_stream() = default;

bool text_file_stream::open(const std::wstring& name, file_stream_mode mode,
                            const text_encoding& encoding) {
    impl_ = text_file_stream_factory(name, mode, encoding);
    return impl_->is_open();
}

bool text_file_stream::is_open() const {
    return impl_ && impl_->is_open();
}
void text_file_stream::close() {
    if (impl_)
        impl_->close();
}
void text_file_stream::flush() {
    impl_->flush();
}
void text_file_stream::reset() {
    impl_->reset();
}
bool text_file_stream::error() const {
    return impl_->error();
}
bool text_file_stream::eof() const {
    return impl_->eof();
}
bool text_file_stream::ok() const {
    return impl_->ok();
}
std::int64_t text_file_stream::get_size() {
    return impl_->get_size();
}
const text_encoding& text_file_stream::get_encoding() const {
    return impl_->get_encoding();
}
wchar_t text_file_stream::read_char() {
    return impl_->read_char();
}
void text_file_stream::write_char(wchar_t c) {
    impl_->write_char(c);
}
void text_file_stream::read_line(std::wstring& line) {
    impl_->read_line(line);
}
void text_file_stream::write_line(const wchar_t* line) {
    impl_->write_line(line);
}
void text_file_stream::write_line(const std::wstring& line) {
    impl_->write_line(line);
}
void text_file_stream::read_solid_text(std::wstring& text) {
    impl_->read_solid_text(text);
}
void text_file_stream::write_solid_text(const wchar_t* text) {
    impl_->write_solid_text(text);
}
void text_file_stream::write_solid_text(const std::wstring& text) {
    impl_->write_solid_text(text);
}
ITextFileStream& text_file_stream::get_interface() {
    return *impl_;
}

} // namespace qel
