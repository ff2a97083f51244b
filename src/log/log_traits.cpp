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
        std::string text;
        to_str(now, "dd.mm.yyyy", '.', '\t', "hh:mm:ss:ii", ':', text);
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
