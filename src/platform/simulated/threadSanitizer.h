#pragma once

namespace kovra::simulated {

// So that thread sanitizer judges the launcher by Windows' rules alone. Without it nothing here does
// anything.

/// A spell of the calling thread inside the machine. The machine runs one thread at a time, in an order of
/// its own, which the launcher's threads know nothing of: the sanitizer neither looks at the machine's own
/// memory nor takes the machine's hand-over of the turn for synchronisation.
class InsideMachine {
public:
    InsideMachine();
    ~InsideMachine(); // NOLINT(performance-trivially-destructible): not under thread sanitizer
    InsideMachine(const InsideMachine&) = delete;
    InsideMachine& operator=(const InsideMachine&) = delete;
};

// What does synchronise on Windows.

void releaseTo(const void* object);
void acquireFrom(const void* object);

} // namespace kovra::simulated
