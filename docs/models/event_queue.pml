/* The hand-over in src/core/event_queue.cpp, and how src/core/event_core.cpp starts, reloads, drains
 * and stops it, small enough for every interleaving to be tried: two producers with three events
 * between them, the worker, a flush, a reload and a stop. scripts/check_model runs it; README.md
 * here says which label is which lines, what is checked and what is left out.
 *
 * A step that takes a lock, or gives one back, is one with what it does to variables that only the
 * holder of that lock touches. What the other lock's holder, or nobody's, can touch meanwhile
 * (head, tail, a slot's contents, lingering, the bell) is touched at most once a step.
 *
 * Settings: CAPACITY 1 or 2, INFO_FIRST (drop_debug_info_first, else drop_newest), FIRST_RING (the
 * positions of the ring's first size, 1 or 2), WORKER_DIES (a callback may end its thread by force).
 * The names in #ifdef further down that are not settings each break the hand-over in one place.
 */

#ifndef CAPACITY
#define CAPACITY 2
#endif
#ifndef FIRST_RING
#define FIRST_RING 1
#endif
#ifdef INFO_FIRST
#define POLICY info_first
#else
#define POLICY newest
#endif

#define EVENTS 3
#define POSITIONS 2  /* of the largest ring: a power of two, no less than any capacity */
#define NO_SLOT 255
#define FREE_SLOT 254
#define NO_EVENT 253

mtype = { newest, info_first };

/* What has become of an event. */
mtype = { unsent, queued, in_hand, delivered, dropped, refused, lost_with_worker };
mtype fate[EVENTS] = unsent;
bit low[EVENTS];       /* debug or info */
byte counted_delivered; /* the core's counters */
byte counted_dropped;

/* EventQueue's members. */
bit producers_mutex;
byte tail;
byte known_head;
byte searched_to;
byte capacity = CAPACITY;
mtype policy = POLICY;
bit accepting = 1;
bit stop_requested;
bit asleep;
byte ring_size;
byte slots[POSITIONS] = NO_SLOT;  /* the event's number, or FREE_SLOT, or NO_SLOT */

bit take_mutex;
byte head;
bit in_flight;
bit worker_ended;
byte drain_waiters;
bit waits[2];  /* blocked in drained_.wait: 0 the flush, 1 the stop */

bit lingering;
bit rung;
#ifdef BELL_FORGETS
bit listening;
#endif

/* EventCore's. */
bit core_mutex;
bit running = 1;

bit joinable;  /* the worker's thread has ended */
bit all_ended;

/* For loops inside one step; no part of the state. */
hidden byte i;
hidden byte n;
hidden byte other;
hidden byte larger[POSITIONS];

#define HALF (capacity / 2 > 1 -> capacity / 2 : 1)
#define DEPTH (tail - head)
#define SlotAt(at) slots[(at) & (ring_size - 1)]
#ifdef DRAINED_IGNORES_HAND
#define DRAINED (DEPTH == 0)
#else
#define DRAINED (DEPTH == 0 && !in_flight)
#endif

inline Lock(mutex) { atomic { mutex == 0; mutex = 1 } }
inline LockBoth() { producers_mutex == 0 && take_mutex == 0; producers_mutex = 1; take_mutex = 1 }
inline UnlockBoth() { producers_mutex = 0; take_mutex = 0 }
inline NotifyAll() { waits[0] = 0; waits[1] = 0 }

inline Ring() {
#ifdef BELL_FORGETS
    rung = listening
#else
    rung = 1
#endif
}

/* --- Ghosts: an event goes each way once --- */

inline Becomes(event, from, to) { assert(fate[event] == from); fate[event] = to }

/* --- Removing, in one step under both locks --- */

inline Swap(a, b) { other = SlotAt(a); SlotAt(a) = SlotAt(b); SlotAt(b) = other }

inline Remove(at) {
    Becomes(SlotAt(at), queued, dropped);
    SlotAt(at) = FREE_SLOT;
    i = at;
    if
    :: at - head < tail - at ->
        do
        :: i != head -> Swap(i, i - 1); i--
        :: else -> break
        od;
        head++
    :: else ->
        do
        :: i + 1 != tail -> Swap(i, i + 1); i++
        :: else -> break
        od;
        tail--
    fi;
    i = 0
}

inline RemoveOldestDebugOrInfo(removed) {
    n = (searched_to > head -> searched_to : head);
    do
    :: n == tail -> break
    :: n != tail && low[SlotAt(n)] -> break
    :: else -> n++
    od;
    searched_to = n;
    i = head;
    do  /* the remembered search has passed over none */
    :: i != n -> assert(!low[SlotAt(i)]); i++
    :: else -> break
    od;
    removed = (n != tail);
    if
    :: removed -> Remove(n)
    :: else
    fi
}

inline RemoveDebugOrInfo(most, removed) {
    removed = 0;
    n = head;
    do
    :: n == tail -> break
    :: n != tail && removed < most && low[SlotAt(n)] ->
        Becomes(SlotAt(n), queued, dropped);
        SlotAt(n) = FREE_SLOT;
        removed++;
        n++
    :: else -> Swap(n, n - removed); n++
    od;
    tail = tail - removed
}

inline DropNewest(count) {
    n = count;
    do
    :: n != 0 ->
        tail--;
        Becomes(SlotAt(tail), queued, dropped);
        SlotAt(tail) = FREE_SLOT;
        n--
    :: else -> break
    od
}

/* --- Producers --- */

inline IsFull(answer) {
    if
    :: tail - known_head >= (capacity < ring_size -> capacity : ring_size) -> known_head = head
    :: else
    fi;
    assert(known_head <= tail);
    answer = (tail - known_head >= capacity)
}

inline Grow() {
    n = (ring_size == 0 -> FIRST_RING : 2 * ring_size);
    assert(n <= POSITIONS);
    i = 0;
    do
    :: i < n -> larger[i] = NO_SLOT; i++
    :: else -> break
    od;
    i = tail - ring_size;
    do
    :: i != tail -> larger[i & (n - 1)] = SlotAt(i); i++
    :: else -> break
    od;
    ring_size = n;
    i = 0;
    do
    :: i < n -> slots[i] = larger[i]; i++
    :: else -> break
    od
}

#define ALL_TAKEN (tail - known_head == ring_size)

inline ProvideSlot() {
    if
    :: ALL_TAKEN && ring_size >= capacity
    :: ALL_TAKEN && ring_size < capacity ->
        d_step { take_mutex == 0; Grow(); SlotAt(tail) = FREE_SLOT }
    :: !ALL_TAKEN && SlotAt(tail) != NO_SLOT
    :: !ALL_TAKEN && SlotAt(tail) == NO_SLOT -> d_step { take_mutex == 0; SlotAt(tail) = FREE_SLOT }
    fi
}

inline EvictOldestDebugOrInfo(answer) {
    d_step {
        take_mutex == 0;
        known_head = head;
#ifndef EVICTS_WITHOUT_SECOND_LOOK
        if
        :: DEPTH < capacity -> answer = 0
        :: else -> RemoveOldestDebugOrInfo(answer)
        fi
#else
        n = DEPTH;
        RemoveOldestDebugOrInfo(answer);
        assert(DEPTH + 1 >= capacity || !answer)
#endif
    }
}

/* RingLingering, in two steps; `found` is the caller's. */
inline ExchangeLingering(found) { d_step { found = lingering; lingering = 0 } }

proctype Producer(byte first; byte end) {
    byte event = first;
    bit is_full;
    bit evicted;
    bit ring;
    bit found;
    bit has_block;

    do
    :: event < end ->
enqueue_gate:
        if
        :: running
        :: !running -> fate[event] = refused; goto next
        fi;
push_lock:
#ifdef ASKS_BEFORE_PUBLISHING
        d_step { producers_mutex == 0; ring = asleep; asleep = 0 };
#endif
        atomic {
            producers_mutex == 0;
            if
            :: !accepting || stop_requested -> fate[event] = refused; goto next
            :: else
            fi;
            producers_mutex = 1;
            IsFull(is_full)
        };
        if
        :: is_full ->
push_ring_full:
            ExchangeLingering(found);
            if
            :: found -> Ring(); found = 0
            :: else
            fi;
            if
            :: policy == newest -> producers_mutex = 0; goto push_dropped
            :: else
            fi
        :: else
        fi;
push_provide_slot:
        ProvideSlot();
push_block:
        if  /* a large event whose slot has no room: everything again with a block */
        :: !has_block -> producers_mutex = 0; has_block = 1; is_full = 0; goto push_lock
        :: true
        fi;
        if
        :: is_full ->
push_evict:
            EvictOldestDebugOrInfo(evicted);
            if
            :: evicted
            :: else ->
                d_step { IsFull(is_full) };
                if
                :: is_full -> producers_mutex = 0; goto push_dropped
                :: else
                fi
            fi
        :: else
        fi;
        is_full = 0;
#ifdef PUBLISHES_BEFORE_PACKING
        d_step { fate[event] = queued; tail++ };
        SlotAt(tail - 1) = event;
#else
push_pack:
        d_step { assert(SlotAt(tail) == FREE_SLOT); SlotAt(tail) = event };
push_publish:
        d_step { Becomes(event, unsent, queued); tail++; assert(DEPTH <= capacity) };
#endif
push_must_ring:
#ifndef ASKS_BEFORE_PUBLISHING
        ring = asleep;
#ifndef ASLEEP_STAYS
        asleep = 0;
#endif
        if
        :: !ring && tail - known_head >= HALF ->
            known_head = head;
            if
            :: tail - known_head >= HALF -> ExchangeLingering(ring)
            :: else
            fi
        :: else
        fi;
#endif
        producers_mutex = 0;
push_ring:
        if
        :: ring -> Ring(); ring = 0
        :: else
        fi;
        if
        :: evicted -> evicted = 0; goto push_dropped_other
        :: else -> goto next
        fi;
push_dropped:
        d_step { is_full = 0; Becomes(event, unsent, dropped) };
push_dropped_other:
        counted_dropped++;
next:
        d_step { is_full = 0; has_block = 0; event++ }
    :: else -> break
    od
}

/* --- Worker --- */

proctype Worker() {
    byte event = NO_EVENT;
    bit taken_since_rest;
    bit done;
    byte seen;

take_lock:
#ifdef HAND_STAYS_FULL
    Lock(take_mutex);
#else
    atomic { take_mutex == 0; take_mutex = 1; in_flight = 0 };
#endif
    if
    :: DEPTH != 0 ->
take_next:
#ifdef HEAD_MOVES_BEFORE_UNPACKING
        d_step { in_flight = 1; head++ };
        d_step {
            event = SlotAt(head - 1);
            SlotAt(head - 1) = FREE_SLOT;
            assert(event < EVENTS);
            Becomes(event, queued, in_hand);
            take_mutex = 0
        };
#else
        d_step { event = SlotAt(head); assert(event < EVENTS) };
        d_step {
            SlotAt(head) = FREE_SLOT;
            Becomes(event, queued, in_hand);
            assert(event != 1 || fate[0] != queued);  /* one producer's events keep their order */
            in_flight = 1;
            head++;
            taken_since_rest = 1;
            take_mutex = 0
        };
#endif
        goto process
    :: else ->
take_notify:
        d_step {
#ifndef WAITERS_NOT_NOTIFIED
            if
            :: drain_waiters != 0 -> NotifyAll()
            :: else
            fi;
#endif
#ifndef RESTS_UNDER_TAKE_LOCK
            take_mutex = 0
#endif
        }
    fi;

rest:
    if  /* whether it is worth lingering depends on a number of events that is left open here */
    :: taken_since_rest -> taken_since_rest = 0;
rest_linger:
        lingering = 1;
        seen = tail;  /* Depth() without a lock: its two loads */
        if
        :: seen != head
        :: else ->
#ifdef BELL_FORGETS
            listening = 1;
#endif
            if
            :: atomic { rung -> rung = 0 }
            :: true  /* the time is over; a ring stays or comes later */
            fi;
#ifdef BELL_FORGETS
            listening = 0
#endif
        fi;
        d_step { seen = 0; lingering = 0 };
        goto take_lock
    :: taken_since_rest = 0
    fi;
rest_decide:
#ifdef DECIDES_WITHOUT_LOCK
    if
    :: DEPTH != 0 -> goto take_lock
    :: else
    fi;
    if
    :: stop_requested -> done = 1
    :: else -> asleep = 1
    fi;
#else
    atomic {
        producers_mutex == 0;
        if
        :: DEPTH != 0 ->
#ifdef RESTS_UNDER_TAKE_LOCK
            take_mutex = 0;
#endif
            goto take_lock
        :: else
        fi;
        if
        :: stop_requested -> done = 1
#ifdef ASLEEP_SET_AFTER_LOCK
        :: else
#else
        :: else -> asleep = 1
#endif
        fi;
#ifdef RESTS_UNDER_TAKE_LOCK
        take_mutex = 0
#endif
    };
#endif
    if
    :: done -> goto ended
    :: else
    fi;
#ifdef ASLEEP_SET_AFTER_LOCK
    asleep = 1;
#endif
rest_sleep:
#ifdef BELL_FORGETS
    listening = 1;
    atomic { rung; rung = 0; listening = 0 };
#else
    atomic { rung; rung = 0 };
#endif
    goto take_lock;

process:
    if
    :: d_step { Becomes(event, in_hand, delivered); counted_delivered++; event = NO_EVENT };
        goto take_lock
#ifdef WORKER_DIES
    :: d_step { Becomes(event, in_hand, lost_with_worker); event = NO_EVENT }
#endif
    fi;

ended:
    atomic {
        producers_mutex == 0 && take_mutex == 0;
        assert(!done || DEPTH == 0);
        done = 0;
        taken_since_rest = 0;
        accepting = 0;
        in_flight = 0;
        worker_ended = 1;
        NotifyAll()
    };
    joinable = 1
}

/* --- Controlling threads --- */

#define PENDING(event) (fate[event] == queued || fate[event] == in_hand)

/* `who` waits; what was accepted when it began to is settled when it is told so. `owed` has one bit
 * for each event, `limited` says that the time may run out. */
inline WaitUntilDrained(who, limited, drained) {
    atomic {
        take_mutex == 0;
        take_mutex = 1;
        owed = PENDING(0) + 2 * PENDING(1) + 4 * PENDING(2)
    };
    if
    :: DRAINED
    :: else ->
        ExchangeLingering(found);
        if
        :: found -> Ring(); found = 0
        :: else
        fi;
        drain_waiters++;
        do
        :: DRAINED || worker_ended -> break
        :: else ->
            d_step { waits[who] = 1; take_mutex = 0 };
            if
            :: !waits[who] -> Lock(take_mutex)
            :: limited -> waits[who] = 0; Lock(take_mutex); break
            fi
        od;
        drain_waiters--
    fi;
    d_step {
        drained = DRAINED;
        assert(!drained || !(owed & 1 && PENDING(0)));
        assert(!drained || !(owed & 2 && PENDING(1)));
        assert(!drained || !(owed & 4 && PENDING(2)));
        owed = 0;
        take_mutex = 0
    }
}

proctype Flush() {
    byte owed;
    bit found;
    bit drained;
flush_wait:
    WaitUntilDrained(0, 0, drained);
#ifndef WORKER_DIES
    assert(drained);
#endif
    drained = 0
}

proctype Reload() {
    byte excess;
    byte evicted;
    byte to_capacity;
    mtype to_policy;
    bit found;

    select(to_capacity : 1 .. 2);
    if
    :: to_policy = newest
    :: to_policy = info_first
    fi;
reload_core:
    Lock(core_mutex);
    if
    :: running ->
reconfigure:
        atomic { LockBoth(); found = lingering; lingering = 0 };
        if
        :: found -> Ring(); found = 0
        :: else
        fi;
        d_step {
            capacity = to_capacity;
            policy = to_policy;
            if
            :: DEPTH > capacity ->
                excess = DEPTH - capacity;
                if
                :: policy == info_first -> RemoveDebugOrInfo(excess, evicted)
                :: else
                fi;
                DropNewest(excess - evicted);
                searched_to = head;
                assert(DEPTH == capacity)
            :: else
            fi;
            evicted = 0;
            UnlockBoth()
        };
#ifndef TRIM_NOT_COUNTED
        counted_dropped = counted_dropped + excess
#endif
    :: else
    fi;
    d_step { excess = 0; core_mutex = 0 }
}

proctype Stop() {
    byte owed;
    byte purged;
    bit limited;
    bit found;
    bit drained;

    if
    :: limited = 0
    :: limited = 1
    fi;
stop_core:
    atomic { core_mutex == 0; running = 0 };
stop_accepting:
    atomic { producers_mutex == 0; accepting = 0 };
stop_wait:
    WaitUntilDrained(1, limited, drained);
#ifndef WORKER_DIES
    assert(drained || limited);
#endif
    if
    :: drained -> assert(DEPTH == 0 && !PENDING(0) && !PENDING(1) && !PENDING(2))
    :: else ->
purge:
        d_step {
            producers_mutex == 0 && take_mutex == 0;
            purged = DEPTH;
            DropNewest(purged);
            head = head + purged;
            tail = head;
            if
            :: DRAINED -> NotifyAll()
            :: else
            fi
        };
        counted_dropped = counted_dropped + purged
    fi;
request_stop:
    atomic { producers_mutex == 0; stop_requested = 1; asleep = 0 };
#ifndef STOP_DOES_NOT_RING
    Ring();
#endif
stop_join:
    joinable;
    assert(DEPTH == 0 && !in_flight && worker_ended);
close:
    d_step {
        producers_mutex == 0 && take_mutex == 0;
        head = tail;
        accepting = 0;
        stop_requested = 0;
        ring_size = 0;
        i = 0;
        do
        :: i < POSITIONS -> slots[i] = NO_SLOT; i++
        :: else -> break
        od;
        NotifyAll();
        purged = 0;
        drained = 0;
        limited = 0
    }
}

#define FINAL(event) (fate[event] == delivered || fate[event] == dropped || \
                      fate[event] == refused || fate[event] == lost_with_worker)

init {
    atomic {
        i = 0;
        do  /* every mix of severities */
        :: i < EVENTS -> low[i] = 0; i++
        :: i < EVENTS -> low[i] = 1; i++
        :: i >= EVENTS -> break
        od;
        run Producer(0, 2);
        run Producer(2, 3);
        run Worker();
        run Flush();
        run Reload();
        run Stop()
    };
    _nr_pr == 1;
    d_step {
        assert(FINAL(0) && FINAL(1) && FINAL(2));
        assert(counted_delivered == (fate[0] == delivered) + (fate[1] == delivered) +
                                        (fate[2] == delivered));
        assert(counted_dropped == (fate[0] == dropped) + (fate[1] == dropped) +
                                      (fate[2] == dropped));
        assert(drain_waiters == 0 && producers_mutex == 0 && take_mutex == 0 && core_mutex == 0);
        all_ended = 1
    }
}

ltl everything_ends { <> all_ended }
