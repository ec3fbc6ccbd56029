// The library's event over the host's.
#include "flush/event.h"

#include "core/allocation.h"

ZyEvent::ZyEvent(bool set) : event_(make_or_null<ZyEventH>(set)) {
    if (event_ == nullptr) {
        throw static_cast<const char*>("Not enough memory to initialize ZyEvent");
    }
}

ZyEvent::~ZyEvent() {
    delete event_;
}

void ZyEvent::wait() {
    event_->Wait();
}

void ZyEvent::wait(unsigned long wait_ms) {
    event_->Wait(wait_ms);
}

void ZyEvent::set() {
    event_->Set();
}
