// Which lock guards what, in words that clang checks (scripts/lint, step "locks"); other compilers read
// nothing.
#pragma once

#if defined(__clang__)
#define THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define THREAD_SAFETY(attribute)
#endif

// Of a class: it is a lock, or holds one for a scope.
#define CAPABILITY(name) THREAD_SAFETY(capability(name))
#define SCOPED_CAPABILITY THREAD_SAFETY(scoped_lockable)

// Of a member: it is touched with the lock held only; read with the shared side at least.
#define GUARDED_BY(lock) THREAD_SAFETY(guarded_by(lock))
// The same of what a pointer points to.
#define PT_GUARDED_BY(lock) THREAD_SAFETY(pt_guarded_by(lock))
// Of a lock: those that are taken before it.
#define ACQUIRED_AFTER(...) THREAD_SAFETY(acquired_after(__VA_ARGS__))

// Of a function: its caller holds the lock, or must not.
#define REQUIRES(...) THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define REQUIRES_SHARED(...) THREAD_SAFETY(requires_shared_capability(__VA_ARGS__))
#define EXCLUDES(...) THREAD_SAFETY(locks_excluded(__VA_ARGS__))

// Of a function: it takes the lock or gives it up. Without an argument: the object itself, or what it holds.
#define ACQUIRE(...) THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) THREAD_SAFETY(acquire_shared_capability(__VA_ARGS__))
// Takes the lock when it gives `result`.
#define TRY_ACQUIRE(...) THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) THREAD_SAFETY(release_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) THREAD_SAFETY(release_shared_capability(__VA_ARGS__))

// Of a function: the lock that it returns.
#define RETURN_CAPABILITY(lock) THREAD_SAFETY(lock_returned(lock))
// Of a function that tells the check a lock is held where it can't see that, as in a lambda.
#define ASSERT_CAPABILITY(...) THREAD_SAFETY(assert_capability(__VA_ARGS__))
// Of a function whose body the check can't follow, with the reason beside it.
#define NO_THREAD_SAFETY_ANALYSIS THREAD_SAFETY(no_thread_safety_analysis)
