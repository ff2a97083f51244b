// The messages of the threads family, in one place.
#pragma once

namespace qel::detail::thread_messages {

inline constexpr const char* local_reading_failure = "thread local reading failure";
inline constexpr const char* local_writing_failure = "thread local writing failure";

} // namespace qel::detail::thread_messages
