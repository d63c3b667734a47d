// Clang's thread-safety attributes; nothing for other compilers.
#pragma once

#if defined(__clang__)
#define ORQ_TSA(x) __attribute__((x))
#else
#define ORQ_TSA(x)
#endif

#define ORQ_CAPABILITY(name) ORQ_TSA(capability(name))
#define ORQ_SCOPED_CAPABILITY ORQ_TSA(scoped_lockable)
#define ORQ_GUARDED_BY(mutex) ORQ_TSA(guarded_by(mutex))
#define ORQ_PT_GUARDED_BY(mutex) ORQ_TSA(pt_guarded_by(mutex))
#define ORQ_ACQUIRE(...) ORQ_TSA(acquire_capability(__VA_ARGS__))
#define ORQ_RELEASE(...) ORQ_TSA(release_capability(__VA_ARGS__))
#define ORQ_TRY_ACQUIRE(...) ORQ_TSA(try_acquire_capability(__VA_ARGS__))
#define ORQ_REQUIRES(...) ORQ_TSA(requires_capability(__VA_ARGS__))
#define ORQ_NO_THREAD_SAFETY_ANALYSIS ORQ_TSA(no_thread_safety_analysis)
