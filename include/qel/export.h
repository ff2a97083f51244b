// Export macro of the qel3 shared library.
#pragma once

#if defined(QEL_STATIC)
#define QEL_API
#elif defined(_WIN32)
#if defined(QEL_BUILDING_LIBRARY)
#define QEL_API __declspec(dllexport)
#else
#define QEL_API __declspec(dllimport)
#endif
#else
#define QEL_API __attribute__((visibility("default")))
#endif
