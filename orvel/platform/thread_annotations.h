// SPDX-License-Identifier: MIT
#pragma once

// Clang's thread-safety annotations: with -Wthread-safety an access without its lock does not
// compile. Other compilers see nothing.
#if defined(__clang__)
#define ORVEL_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define ORVEL_THREAD_ANNOTATION(attribute)
#endif

#define ORVEL_CAPABILITY(name) ORVEL_THREAD_ANNOTATION(capability(name))
#define ORVEL_SCOPED_CAPABILITY ORVEL_THREAD_ANNOTATION(scoped_lockable)
#define ORVEL_GUARDED_BY(mutex) ORVEL_THREAD_ANNOTATION(guarded_by(mutex))
#define ORVEL_REQUIRES(mutex) ORVEL_THREAD_ANNOTATION(requires_capability(mutex))
#define ORVEL_ACQUIRE(...) ORVEL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ORVEL_TRY_ACQUIRE(...) ORVEL_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ORVEL_RELEASE(...) ORVEL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define ORVEL_NO_THREAD_SAFETY_ANALYSIS ORVEL_THREAD_ANNOTATION(no_thread_safety_analysis)
