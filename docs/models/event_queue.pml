/* The hand-over in src/core/event_queue.cpp and event_ring.cpp, and how src/core/event_core.cpp reloads, drains and
 * stops it, small enough for every interleaving to be tried: two producers with three events
 * between them, the worker, a flush, a reload and a stop. scripts/check_model runs it; the README
 * here says which label is which function, what is checked and what is left out.
 *
 * A step (what stands in one atomic or d_step) touches at most one thing that others may touch
 * meanwhile: taking a lock, giving it back and all that only its holder touches goes with that.
 *
 * Settings, each a -D of spin:
 *   CAPACITY, NEW_CAPACITY  1 or 2; before and after the reload
 *   INFO_FIRST              starts with drop_debug_info_first, else with drop_newest
 *   NEW_POLICY              the reload turns to the other policy
 *   LOW                     which events are debug or info, one bit each; ANY_LOW tries all mixes
 *   FIRST_RING              positions of the ring's first size, 1 or 2
 *   BLOCKS                  an event may find that it needs a block of its own
 *   GIVES_BACK              the ring may be large before the worker goes to sleep
 *   FLUSH_LIMITED           1: the flush has a time-out (the stop tries both anyway)
 *   WORKER_DIES             a callback may end the worker's thread by force
 * Every other name in an #ifdef breaks the hand-over in one place, apart from ASLEEP_STAYS, which
 * only wastes rings.
 */

#ifndef CAPACITY
#define CAPACITY 2
#endif
#ifndef NEW_CAPACITY
#define NEW_CAPACITY 1
#endif
#ifndef LOW
#define LOW 5
#endif
#ifndef FLUSH_LIMITED
#define FLUSH_LIMITED 0
#endif
#ifndef FIRST_RING
#define FIRST_RING 1
#endif
#ifdef INFO_FIRST
#define POLICY info_first
#define OTHER_POLICY newest
#else
#define POLICY newest
#define OTHER_POLICY info_first
#endif

#ifdef GIVES_BACK_BLINDLY
#define GIVES_BACK
#endif

#define EVENTS 3
#define POSITIONS 2 /* of the largest ring: a power of two, no less than any capacity */
#define NO_SLOT 255 /* else a position has the number of the event in its slot, or: */
#define FREE_SLOT 254
#define NO_EVENT 253

mtype = { newest, info_first };
mtype = { unsent, queued, in_hand, delivered, dropped, refused, lost_with_worker };

/* What has become of each event, and what the core counted. Nothing below decides by these. */
mtype fate[EVENTS] = unsent;
byte counted_delivered;
byte counted_dropped;

bit low[EVENTS]; /* debug or info */

/* EventQueue's members: the producers', the worker's, nobody's. */
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
byte slots[POSITIONS] = NO_SLOT;

bit take_mutex;
byte head;
bit in_flight;
bit worker_ended;
byte drain_waiters;
bit waits[2]; /* in drained_.wait until notified: 0 the flush, 1 the stop */

bit lingering;
bit rung;
#ifdef BELL_FORGETS
bit listening;
#endif

/* EventCore's: core_mutex_ with the gate, and whether the worker's thread can be joined. */
bit running = 1;
bit joinable;

/* That the flush and the stop have returned. */
bit flushed;
bit stopped;

/* For loops inside one step; no part of the state. */
hidden byte i;
hidden byte n;
hidden byte other;
hidden byte larger[POSITIONS];
hidden byte evicted_by_trim;

#define HALF (capacity / 2 > 1 -> capacity / 2 : 1)
#define DEPTH (tail - head)
#define SlotAt(at) slots[(at) & (ring_size - 1)]
#define BOTH_FREE (producers_mutex == 0 && take_mutex == 0)
#define PENDING(e) (fate[e] == queued || fate[e] == in_hand)
#define FINAL(e) (fate[e] != unsent && !PENDING(e))
#define COUNT(of) ((fate[0] == of) + (fate[1] == of) + (fate[2] == of))
#ifdef DRAINED_IGNORES_HAND
#define DRAINED (DEPTH == 0)
#else
#define DRAINED (DEPTH == 0 && !in_flight)
#endif

inline NotifyAll() { waits[0] = 0; waits[1] = 0 }

inline Ring() {
#ifdef BELL_FORGETS
    rung = listening
#else
    rung = 1
#endif
}

inline Becomes(which, from, to) { assert(fate[which] == from); fate[which] = to }

/* --- Removing events; within one step under both locks --- */

inline Swap(a, b) { other = SlotAt(a); SlotAt(a) = SlotAt(b); SlotAt(b) = other }

inline Drop(at) { Becomes(SlotAt(at), queued, dropped); SlotAt(at) = FREE_SLOT }

inline Remove(at) {
    Drop(at);
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
    fi
}

inline RemoveOldestDebugOrInfo(found) {
    n = (searched_to > head -> searched_to : head);
    i = head;
    do /* what is remembered as searched holds no such event */
    :: i != n -> assert(!low[SlotAt(i)]); i++
    :: else -> break
    od;
    do
    :: n == tail -> break
    :: n != tail && low[SlotAt(n)] -> break
    :: else -> n++
    od;
    searched_to = n;
    found = (n != tail);
    if
    :: found -> Remove(n)
    :: else
    fi
}

inline RemoveDebugOrInfo(most, removed) {
    removed = 0;
    n = head;
    do
    :: n == tail -> break
    :: n != tail && removed < most && low[SlotAt(n)] -> Drop(n); removed++; n++
    :: else -> Swap(n, n - removed); n++
    od;
    tail = tail - removed
}

inline DropNewest(count) {
    n = count;
    do
    :: n != 0 -> tail--; Drop(tail); n--
    :: else -> break
    od
}

/* --- Producers --- */

/* After it, tail - known_head is the depth seen. */
inline LookWhenSeen(enough) {
    if
    :: tail - known_head >= enough -> known_head = head
    :: else
    fi;
    assert(known_head <= tail)
}

inline IsFull(answer) {
    LookWhenSeen(capacity);
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
    od;
    i = 0
}

/* One slot at a time, for the position at the tail. */
inline Extend() {
    if
    :: ring_size == 0 || SlotAt(tail) != NO_SLOT -> Grow()
    :: else
    fi;
    assert(SlotAt(tail) == NO_SLOT);
    SlotAt(tail) = FREE_SLOT
}

#define ALL_TAKEN (tail - known_head == ring_size)
#define SLOT_PROVIDED (ALL_TAKEN -> ring_size >= capacity : SlotAt(tail) != NO_SLOT)

inline EvictOldestDebugOrInfo(answer) {
    LookWhenSeen(capacity);
#ifdef EVICTS_WITHOUT_SECOND_LOOK
    if
    :: true
#else
    if
    :: tail - known_head < capacity -> answer = 0
    :: else
#endif
    -> assert(DEPTH == capacity); RemoveOldestDebugOrInfo(answer)
    fi
}

proctype Producer(byte first; byte end) {
    byte event = first;
    bit is_full;
    bit evicted;
    bit ring;
    bit has_block;

    do
    :: event == end -> break
    :: else ->
#ifdef ASKS_BEFORE_PUBLISHING
        atomic { producers_mutex == 0; ring = asleep; asleep = 0 };
#endif
push:
        atomic {
            producers_mutex == 0;
            if
            :: !accepting || stop_requested -> Becomes(event, unsent, refused); goto next
            :: else
            fi;
            IsFull(is_full);
            producers_mutex = 1
        };
        if
        :: is_full ->
push_full: /* RingLingering */
            atomic {
                if
                :: lingering -> lingering = 0
                :: else -> goto push_full_policy
                fi
            };
            Ring();
push_full_policy:
            if
            :: policy == newest -> goto push_dropped
            :: else
            fi
        :: else
        fi;
push_provide_slot:
        d_step { LookWhenSeen(ring_size) };
        if
        :: SLOT_PROVIDED
        :: !SLOT_PROVIDED -> d_step { take_mutex == 0; Extend() }
        fi;
#ifdef BLOCKS
        if
        :: !has_block ->
push_block:
            atomic { producers_mutex = 0; has_block = 1; is_full = 0; goto push }
        :: true
        fi;
#endif
        if
        :: is_full ->
push_evict:
            d_step { take_mutex == 0; EvictOldestDebugOrInfo(evicted) };
            if
            :: evicted
            :: else ->
                d_step { IsFull(is_full) };
                if
                :: is_full -> goto push_dropped
                :: else
                fi
            fi
        :: else
        fi;
push_publish:
        atomic {
            is_full = 0;
            assert(SlotAt(tail) == FREE_SLOT);
#ifdef PUBLISHES_BEFORE_PACKING
            Becomes(event, unsent, queued);
            tail++
        };
        atomic {
            SlotAt(tail - 1) = event;
#else
            SlotAt(tail) = event;
            Becomes(event, unsent, queued);
            tail++;
#endif
            assert(DEPTH <= capacity);
#ifdef ASKS_BEFORE_PUBLISHING
            goto push_unlock;
#else
            ring = asleep;
#ifndef ASLEEP_STAYS
            asleep = 0;
#endif
            if
            :: ring || tail - known_head < HALF -> goto push_unlock
            :: else
            fi
#endif
        };
push_must_ring:
        atomic {
            known_head = head;
            if
            :: tail - known_head < HALF -> goto push_unlock
            :: else
            fi
        };
        atomic { ring = lingering; lingering = 0 };
push_unlock:
        atomic {
            producers_mutex = 0;
            counted_dropped = counted_dropped + evicted;
            evicted = 0;
            if
            :: ring -> goto push_ring
            :: else -> goto next
            fi
        };
push_ring:
        atomic { Ring(); ring = 0; goto next };
push_dropped:
        atomic {
            is_full = 0;
            Becomes(event, unsent, dropped);
            counted_dropped++;
            producers_mutex = 0
        };
next:
        atomic { event++; has_block = 0 }
    od
}

/* --- Worker --- */

inline Took() {
    Becomes(event, queued, in_hand);
    assert(event != 1 || fate[0] != queued); /* one producer's events keep their order */
    in_flight = 1;
    idle_told = 0;
    taken_since_rest = 1
}

proctype Worker() {
    byte event = NO_EVENT;
    bit taken_since_rest;
    bit idle_told = 1;
    bit done;

take:
    atomic {
        take_mutex == 0;
        if /* finished with the one before */
        :: event != NO_EVENT -> Becomes(event, in_hand, delivered); counted_delivered++
        :: else
        fi;
        event = NO_EVENT;
#ifndef HAND_STAYS_FULL
        in_flight = 0;
#endif
        if
        :: DEPTH != 0 ->
#ifdef HEAD_MOVES_BEFORE_UNPACKING
            take_mutex = 1;
            head++;
            goto unpack_late
#else
            event = SlotAt(head);
            assert(event < EVENTS);
            SlotAt(head) = FREE_SLOT;
            head++;
            Took();
            goto process
#endif
        :: else
        fi;
#ifndef WAITERS_NOT_NOTIFIED
        if
        :: drain_waiters != 0 -> NotifyAll()
        :: else
        fi;
#endif
#ifdef RESTS_UNDER_TAKE_LOCK
        take_mutex = 1;
#endif
        if /* enough events to linger? How many that is, is left open. */
        :: taken_since_rest -> taken_since_rest = 0; goto rest_linger
        :: taken_since_rest = 0; goto rest_idle
        fi
    };

#ifdef HEAD_MOVES_BEFORE_UNPACKING
unpack_late:
    event = SlotAt(head - 1);
    d_step { assert(event < EVENTS); SlotAt(head - 1) = FREE_SLOT; Took(); take_mutex = 0 };
#endif

process:
#ifdef WORKER_DIES
    if
    :: goto take
    :: atomic { Becomes(event, in_hand, lost_with_worker); event = NO_EVENT; goto ended }
    fi;
#else
    goto take;
#endif

rest_linger:
    atomic {
#ifdef RESTS_UNDER_TAKE_LOCK
        take_mutex = 0;
#endif
        lingering = 1
    };
    if
    :: atomic { rung -> rung = 0 }
    :: true /* the time is over; a ring stays, or comes later */
    fi;
    atomic { lingering = 0; goto take };

rest_idle:
    atomic {
        if
        :: idle_told -> goto before_sleep
        :: else -> idle_told = 1
        fi
    };
#ifdef RESTS_UNDER_TAKE_LOCK
    take_mutex = 0;
#endif
    goto take; /* once the outputs have handed over */

before_sleep:
#ifdef GIVES_BACK
give_back:
    atomic {
        BOTH_FREE;
        if
#ifdef GIVES_BACK_BLINDLY
        :: true ->
#else
        :: DEPTH != 0
        :: DEPTH == 0 ->
#endif
            d_step { ring_size = 0; slots[0] = NO_SLOT; slots[1] = NO_SLOT }
        :: true /* the ring is not large */
        fi
    };
#endif
rest_sleep:
#ifdef DECIDES_WITHOUT_LOCK
    if
    :: DEPTH != 0 -> goto take
    :: else
    fi;
#endif
    atomic {
#ifndef DECIDES_WITHOUT_LOCK
        producers_mutex == 0;
#endif
#ifdef RESTS_UNDER_TAKE_LOCK
        take_mutex = 0;
#endif
#ifndef DECIDES_WITHOUT_LOCK
        if
        :: DEPTH != 0 -> goto take
        :: else
        fi;
#endif
        if
        :: stop_requested -> done = 1; goto ended
        :: else
        fi;
#ifdef SETS_ASLEEP_AFTER_LOCK
    };
    atomic {
#endif
        asleep = 1
    };
#ifdef BELL_FORGETS
    listening = 1;
#endif
    atomic {
        rung;
        rung = 0;
#ifdef BELL_FORGETS
        listening = 0;
#endif
        goto take
    };

ended: /* WorkerEnded, and the thread's end */
    atomic {
        BOTH_FREE;
        assert(!done || DEPTH == 0);
        done = 0;
        taken_since_rest = 0;
        idle_told = 0;
        accepting = 0;
        in_flight = 0;
        worker_ended = 1;
        NotifyAll();
        joinable = 1
    }
}

/* --- Controlling threads --- */

/* What was accepted when the caller began to wait is settled when it is told so. */
inline CheckAnswer() {
    assert(!drained || !((owed & 1) && PENDING(0)));
    assert(!drained || !((owed & 2) && PENDING(1)));
    assert(!drained || !((owed & 4) && PENDING(2)));
    owed = 0
}

/* `limited`: the time may run out, while waiting. Gives `drained`. */
inline WaitUntilDrained(who) {
    atomic {
        take_mutex == 0;
        owed = PENDING(0) + 2 * PENDING(1) + 4 * PENDING(2);
        drained = DRAINED;
        if
        :: drained -> CheckAnswer(); goto answered
        :: else
        fi;
        take_mutex = 1
    };
    atomic { /* RingLingering */
        if
        :: lingering -> lingering = 0
        :: else -> goto wait
        fi
    };
    Ring();
wait:
    atomic { drain_waiters++; goto look };
woken:
    atomic {
        if
        :: !waits[who]
        :: waits[who] && limited -> waits[who] = 0; expired = 1
        fi;
        take_mutex == 0;
        take_mutex = 1;
look:
        drained = DRAINED;
        if
        :: !drained && !worker_ended && !expired -> waits[who] = 1; take_mutex = 0; goto woken
        :: else
        fi;
#ifdef ASKS_AGAIN_WHETHER_DRAINED
    };
    atomic {
        drained = DRAINED;
#endif
        drain_waiters--;
        expired = 0;
        CheckAnswer();
        take_mutex = 0
    };
answered:
    skip
}

#ifdef WORKER_DIES
#define MAY_FAIL 1
#else
#define MAY_FAIL 0
#endif

proctype Flush() {
    byte owed;
    bit limited = FLUSH_LIMITED;
    bit expired;
    bit drained;

    WaitUntilDrained(0);
    d_step { assert(drained || limited || MAY_FAIL); drained = 0; limited = 0; flushed = 1 }
}

proctype Reload() {
    byte excess;

    atomic { /* Reconfigure, all of it under core_mutex_ */
        BOTH_FREE;
        if
        :: !running -> goto not_running
        :: else
        fi;
        if
        :: lingering -> lingering = 0; producers_mutex = 1; take_mutex = 1
        :: else -> goto reconfigure
        fi
    };
    atomic {
        Ring();
reconfigure:
        capacity = NEW_CAPACITY;
        d_step {
#ifdef NEW_POLICY
            policy = OTHER_POLICY;
#endif
            if
            :: DEPTH > capacity ->
                excess = DEPTH - capacity;
                evicted_by_trim = 0;
                if
                :: policy == info_first -> RemoveDebugOrInfo(excess, evicted_by_trim)
                :: else
                fi;
                DropNewest(excess - evicted_by_trim);
                searched_to = head;
                assert(DEPTH == capacity)
            :: else
            fi;
#ifndef TRIM_NOT_COUNTED
            counted_dropped = counted_dropped + excess;
#endif
            excess = 0;
            producers_mutex = 0;
            take_mutex = 0
        }
    };
not_running:
    skip
}

proctype Stop() {
    byte owed;
    byte purged;
    bit limited;
    bit expired;
    bit drained;

    if
    :: limited = 0
    :: limited = 1
    fi;
    running = 0;
stop_accepting:
    atomic { producers_mutex == 0; accepting = 0 };
    WaitUntilDrained(1);
    if
    :: drained -> assert(DEPTH == 0 && !PENDING(0) && !PENDING(1) && !PENDING(2))
    :: else ->
        assert(limited || MAY_FAIL);
purge:
        d_step {
            BOTH_FREE;
            purged = DEPTH;
            DropNewest(purged);
            searched_to = head;
            counted_dropped = counted_dropped + purged;
            if
            :: DRAINED -> NotifyAll()
            :: else
            fi;
            purged = 0
        }
    fi;
request_stop:
    atomic { producers_mutex == 0; stop_requested = 1; asleep = 0; drained = 0; limited = 0 };
#ifndef STOP_DOES_NOT_RING
    Ring();
#endif
join:
    joinable;
close:
    d_step {
        BOTH_FREE;
        assert(DEPTH == 0 && !in_flight && worker_ended);
        accepting = 0;
        stop_requested = 0;
        ring_size = 0;
        slots[0] = NO_SLOT;
        slots[1] = NO_SLOT;
        NotifyAll();
        stopped = 1
    }
}

init {
    atomic {
        i = 0;
        do
#ifdef ANY_LOW
        :: i < EVENTS -> low[i] = 1; i++
        :: i < EVENTS -> i++
#else
        :: i < EVENTS -> low[i] = (LOW >> i) & 1; i++
#endif
        :: i == EVENTS -> break
        od;
        i = 0;
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
        assert(counted_delivered == COUNT(delivered) && counted_dropped == COUNT(dropped));
        assert(drain_waiters == 0 && BOTH_FREE)
    }
}

ltl everything_ends { <> (flushed && stopped && FINAL(0) && FINAL(1) && FINAL(2)) }
