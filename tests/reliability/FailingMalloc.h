#pragma once
/// Makes the n-th allocation of the calling thread fail, however it is made (operator new, malloc, aligned
/// forms).
///
/// FailingMalloc.cpp replaces the C allocation functions of the executable that it is linked into; it passes
/// everything on to the C library until armed. Not for use under a sanitizer, which replaces them as well.
namespace failing_malloc {

/// From now on count the allocations of this thread and let number n (1 = the next one) fail; 0 counts only.
/// Later allocations succeed again: one fault at a time.
void Arm(long n);

/// Stops counting and failing; returns the number of allocations since Arm.
long Disarm();

/// Whether the armed fault has been delivered.
bool Delivered();

/// Bytes that this process holds from the allocation functions: what a leak shows in.
long long LiveBytes();

/// Number of blocks that this process holds.
long long LiveBlocks();

}  // namespace failing_malloc
