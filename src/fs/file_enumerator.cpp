#include "platform/fs.h"

#include <qel/fs.h>

namespace qel {

IFileEnumerator::~IFileEnumerator() = default;

std::unique_ptr<IFileEnumerator> file_enumerator_factory(const std::wstring& pattern) {
    return platform::open_file_enumerator(pattern);
}

file_enumerator::file_enumerator(const std::wstring& pattern)
    : impl_(file_enumerator_factory(pattern)) {}

file_enumerator::file_enumerator(const std::wstring& dir, const std::wstring& ext)
    : impl_(file_enumerator_factory(make_path(dir, L"*", ext))) {}

file_enumerator::file_enumerator(file_enumerator&& other) noexcept = default;
file_enumerator& file_enumerator::operator=(file_enumerator&& other) noexcept = default;
file_enumerator::~file_enumerator() = default;

} // namespace qel
