/* Marks what libqobplatform exports. */
#ifndef QOBPLATFORM_EXPORT_H
#define QOBPLATFORM_EXPORT_H

#if defined(_WIN32)
#  if defined(QOBPLATFORM_BUILD)
#    define QOBPLATAPI __declspec(dllexport)
#  else
#    define QOBPLATAPI __declspec(dllimport)
#  endif
#else
#  define QOBPLATAPI __attribute__((visibility("default")))
#endif

#endif
