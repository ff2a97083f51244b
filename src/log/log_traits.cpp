#include <qel/datetime.h>
#include <qel/log.h>
#include <qel/text_encoding.h>

namespace qel {
namespace detail {

class DefaultLogTraits_impl_ final : public ILogTraits {
public:
    bool is_enabled(ILogFileStream&) const override { return true; }
    void on_record_end(ILogFileStream&) const override {}
    void to_narrow(const wchar_t* text, std::uint64_t length, std::string& out) const override {
        wide_to_char(text, static_cast<std::size_t>(length), out, text_encoding());
    }
    void write_prefix(std::ostream& out) const override {
        timestamp now;
        now.put_system_clock();
        // The default masks are these with a blank between date and time, and take the
        // direct path; a date text has no blank of its own.
        std::string text;
        to_str(now, text);
        if (auto blank = text.find(' '); blank != std::string::npos)
            text[blank] = '\t';
        out << text;
    }
};

} // namespace detail

ILogTraits::~ILogTraits() = default;

const ILogTraits& default_log_traits() {
    // Never destroyed: streams that live into static destruction still find it.
    static const auto* traits = new detail::DefaultLogTraits_impl_();
    return *traits;
}

} // namespace qel
