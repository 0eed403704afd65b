/* The delivery contract (docs/delivery.md), as a model that Spin walks through whole: a host that records EVENTS events and
 * may begin with a new user or erase everything, a library that is killed at any step, a disk that refuses, a service that
 * does not answer. Each transition names the function that does it. The kernel keeps what was written: no power failure here.
 *
 * A set of events is a bit mask, bit e for the e-th call. Checked after every step: what was accepted can be found again by
 * the next start, was received, or is counted (durable); nothing comes twice but after a failure, or a kill in flight or
 * while the store refuses, nor before an older one, nor for another user, nor after it was erased (receive). In every run
 * all of it comes out (all_comes_out), but for what a later start takes up.
 *
 * WRONG names a version with a mistake, which must be found. */

#ifndef EVENTS
#define EVENTS 3
#endif
#ifndef KILLS
#define KILLS 2
#endif
#ifndef TROUBLES
#define TROUBLES 1 /* writes that are refused, answers that do not come */
#endif
#ifndef RESETS
#define RESETS 1
#endif
#ifndef ERASURES
#define ERASURES 0
#endif
#ifndef WRONG
#define WRONG none
#endif
#define FILES 5
#define NO_FILE 255
#define MOST_WAITING 2 /* KovaQueueManager::Limits::queuedEvents */
#define MOST_BATCHES 2 /* KovaQueueManager::Limits::queuedMessageBatches */

#define none 0
#define doneBeforeJournal 1   /* a call is done before the journal holds its message */
#define clearBeforeCommit 2   /* the journal is emptied before the store has taken over */
#define rowBeforeFile 3       /* the row is stored, then the file it names */
#define leftoversBlind 4      /* messages wait although a leftover holds them */
#define removedBeforeAnswer 5 /* a batch's file goes when it is sent */
#define numberIgnored 6       /* the journal is read whole, whatever the store has taken over */

/* On disk. */
byte calls;        /* noted and not done: KICallLog */
byte callReset;    /* 1 + the call before which a reset was noted that is not done */
byte journal[2];   /* messages ahead of the newest number, and behind it: KIJournal */
bool isBehind;     /* the store's number is below the journal's newest */
byte parts;        /* the row of single messages */
byte rows[MOST_BATCHES + 1], rowCount;
byte files[FILES]; /* messages of each */
byte user;         /* the row of the identity */
bool isResetStored; /* in the same step: the row of calls that are done */

/* In memory. */
byte inbox, inboxReset; /* handed over, not done: the mutation queue */
byte journaled;         /* KICallLog::noteJournaled, and the file of calls does not say so yet */
byte waiting;           /* KovaQueueManager::queuedEvents_ */
byte batches[MOST_BATCHES + 1], batchCount;
bool isFlying;          /* the first batch is in flight */
bool isRunning;
bool isRefused;          /* the store's last step: it says nothing of what came since */
byte file, i, e;

/* What is seen from outside. */
byte accepted, received, counted, erased, later, again;
byte userOf[EVENTS], epochOf[EVENTS], epoch;
byte users = 0;
byte life, kills, troubles, erasures;
bool killed, isEnough, disturbed;

#define bit(e) (1 << (e))
#define inJournal ((isBehind || WRONG == numberIgnored -> journal[0] : 0) | journal[1])
#define inFiles (files[0] | files[1] | files[2] | files[3] | files[4])
#define durable ((accepted & ~(calls | inJournal | parts | inFiles | received | counted | erased)) == 0)
#define trouble (troubles < TROUBLES)

inline check() { assert(durable) }

inline isNamed(f, answer) { /* by a batch in memory or a row; names are never used again */
  answer = false; i = 0;
  do
  :: i <= MOST_BATCHES ->
     answer = answer || (i < batchCount && batches[i] == f) || (i < rowCount && rows[i] == f); i++
  :: else -> break
  od; i = 0
}

/* KovaPersistentStore::saveJSONDataToDisk: createFile renames, so it is whole or absent. */
inline saveFile() {
  atomic {
    if
    :: file = 0;
       do
       :: file < FILES && files[file] -> file++
       :: file < FILES && !files[file] -> isNamed(file, isUsed); if :: isUsed -> file++ :: else -> break fi
       od;
       if :: WRONG != rowBeforeFile -> files[file] = waiting :: else fi
    :: trouble -> troubles++; file = NO_FILE
    fi; check()
  }
}

/* KovaQueueManager::persistQueuedEvents */
inline persist() {
  /* KICallLog::writeDone */
  atomic { calls = calls & ~journaled; journaled = 0; check() };
  /* KIJournal::noteTakenOver, within the step */
  if
  :: atomic { journal[0] || journal[1] ->
       if :: isBehind -> journal[0] = journal[0] | journal[1] :: else -> journal[0] = journal[1] fi;
       journal[1] = 0; isBehind = true;
       if :: WRONG == clearBeforeCommit -> journal[0] = 0 :: else fi; check() }
  :: else
  fi;
  /* KovaPersistentStore::changeInOneStep */
  if
  :: atomic { parts = waiting; rowCount = batchCount; i = 0;
       do :: i < batchCount -> rows[i] = batches[i]; i++ :: else -> break od; i = 0;
       isBehind = false; isStored = true; isRefused = false; check() }
  :: atomic { trouble -> troubles++; disturbed = true; isStored = false; isRefused = true }
  fi;
  /* KIJournal::forgetTakenOver */
  if :: atomic { isStored -> journal[0] = 0; journal[1] = 0; check() } :: else fi
}

/* KovaQueueManager::moveEnqueuedMessagesToBatchAndPersist */
inline move() {
  if
  :: waiting -> /* and all have their pageview; if not, the caller goes on without */
     saveFile();
     if
     :: atomic { file != NO_FILE -> moved = waiting; batches[batchCount] = file; batchCount++; waiting = 0 };
        persist();
        /* KIJournal::rewrite: a file that has no row yet is found by the next start */
        atomic { if :: !isStored -> journal[0] = 0; journal[1] = 0; isBehind = false :: else fi;
                 if :: WRONG == rowBeforeFile -> files[file] = moved :: else fi;
                 moved = 0; file = NO_FILE; check() }
     :: else -> persist()
     fi
  :: else
  fi
}

/* KovaQueueManager::enqueueMessage, of the event e with its call */
inline enqueue() {
  userOf[e] = user;
  if
  :: waiting & (waiting - 1) -> if :: batchCount < MOST_BATCHES -> move() :: skip fi /* skip: one has no pageview */
  :: else
  fi;
  if
  :: batchCount >= MOST_BATCHES -> /* KovaQueueManager::refuseMessage */
     atomic { counted = counted | bit(e); journaled = journaled | bit(e) }
  :: else ->
     /* KovaQueueManager::makeRoomForEvents: the oldest goes */
     atomic { if :: waiting & (waiting - 1) -> counted = counted | (waiting & -waiting); waiting = waiting & (waiting - 1)
                 :: else fi };
     if :: atomic { WRONG == doneBeforeJournal -> calls = calls & ~bit(e); check() } :: else fi;
     /* KIJournal::keep and KICallLog::noteJournaled */
     atomic { journal[1] = journal[1] | bit(e); journaled = journaled | bit(e); waiting = waiting | bit(e); check() }
  fi
}

/* KovaTracker::beginWithNewUser in KovaQueueManager::carryOut: the row says that the call is done, then the file does */
inline newUser() {
  atomic { users++; user = users; isResetStored = true };
  atomic { callReset = 0; isResetStored = false }
}

/* What reaches the service, of the first batch in flight. */
inline receive() {
  assert((files[batches[0]] & received & ~again) == 0);  /* twice */
  assert((files[batches[0]] & erased) == 0);
  e = 0;
  do
  :: e < EVENTS ->
     if
     :: files[batches[0]] & bit(e) & ~received ->
        assert(disturbed || ((accepted & (bit(e) - 1)) & ~(received | counted | erased | files[batches[0]])) == 0); /* order */
        i = 0;
        do
        :: i < e -> assert(!(accepted & bit(i) & ~erased) || (userOf[i] == userOf[e]) == (epochOf[i] == epochOf[e])); i++
        :: else -> break
        od; i = 0
     :: else
     fi; e++
  :: else -> break
  od; e = 0;
  received = received | files[batches[0]]
}

inline dropFirst() { /* KIStoredQueue::settle or drop: the store learns of it with the next step */
  i = 1;
  do :: i < batchCount -> batches[i - 1] = batches[i]; i++ :: else -> break od; i = 0;
  batchCount--; batches[batchCount] = 0; isFlying = false
}

/* KovaUploader::send: one batch, and what becomes of it */
inline send() {
  /* KovaQueueManager::dequeueMessageJSONPayloadWithMessageBatch; a row without its file is dropped */
  if
  :: atomic { files[batches[0]] == 0 -> dropFirst() }
  :: else ->
     isFlying = true;
     if
     :: atomic { receive() };
        if :: atomic { WRONG == removedBeforeAnswer -> files[batches[0]] = 0; check() } :: else fi;
        if
        :: atomic { files[batches[0]] = 0; check() }; dropFirst()  /* cleanUpSentMessageBatch */
        :: atomic { trouble -> troubles++; again = again | files[batches[0]]; isFlying = false } /* requeueFailedMessageBatch */
        fi
     :: atomic { WRONG == removedBeforeAnswer -> files[batches[0]] = 0; check() }
     :: atomic { trouble -> troubles++; again = again | files[batches[0]]; isFlying = false } /* it has not arrived */
     fi
  fi
}

/* KovaQueueManager::adoptLeftovers: what holds messages that wait is becoming a batch, or goes when there is no room for one;
 * another file is taken up when nobody has touched it for a minute, if need be by a later start */
inline adopt() {
  atomic {
    file = 0;
    do
    :: file < FILES ->
       isNamed(file, isUsed);
       if
       :: files[file] && !isUsed && batchCount < MOST_BATCHES ->
          batches[batchCount] = file; batchCount++;
          if :: WRONG != leftoversBlind -> waiting = waiting & ~files[file] :: else fi
       :: files[file] && !isUsed && batchCount < MOST_BATCHES && !(files[file] & waiting) && kills < KILLS ->
          disturbed = true; later = later | files[file] /* too young */
       :: files[file] && !isUsed && batchCount >= MOST_BATCHES && !(files[file] & ~waiting) -> files[file] = 0; check()
       :: else -> if :: !isUsed -> waiting = waiting & ~files[file] :: else fi
       fi; file++
    :: else -> break
    od; file = NO_FILE
  };
  persist()
}

inline wake() {
  atomic { /* KovaQueueManager::load and KICallLog::open */
    waiting = parts | inJournal; batchCount = rowCount; i = 0;
    do :: i < rowCount -> batches[i] = rows[i]; i++ :: else -> break od; i = 0;
    journaled = calls & (journal[0] | journal[1]);
    if :: isResetStored -> callReset = 0; isResetStored = false :: else fi;
    inbox = calls & ~journaled; inboxReset = callReset; later = 0; isRunning = true
  };
  persist();
  adopt()
}

inline forget() { /* the memory of a process that is gone */
  if :: isFlying -> again = again | files[batches[0]] :: else fi;
  if :: isRefused -> again = again | parts | inJournal :: else fi;
  inbox = 0; inboxReset = 0; journaled = 0; waiting = 0; batchCount = 0; isFlying = false; isStored = false; isUsed = false;
  moved = 0; file = NO_FILE; i = 0; e = 0;
  batches[0] = 0; batches[1] = 0; batches[2] = 0; isRunning = false; isRefused = false
}

active proctype library() {
  bool isStored, isUsed;
  byte moved;
start:
  {
    wake();
    do
    :: inbox || inboxReset -> /* the mutation queue, in the order of the calls; KovaTracker::redoLeftCalls does the same */
       e = 0;
       do :: e < EVENTS && !(inbox & bit(e)) -> e++ :: else -> break od;
       if
       :: atomic { inboxReset && inboxReset <= e + 1 -> inboxReset = 0; e = 0 }; newUser()
       :: else -> enqueue(); atomic { inbox = inbox & ~bit(e); e = 0 }
       fi
    :: waiting && batchCount < MOST_BATCHES -> move()
    :: batchCount -> send()
    :: atomic { erasures < ERASURES && !inbox && !inboxReset -> /* Kova::eraseStored */
       erasures++; erased = erased | (accepted & ~received & ~counted) | calls;
       calls = 0; callReset = 0; journal[0] = 0; journal[1] = 0; isBehind = false; parts = 0; rowCount = 0;
       i = 0; do :: i < FILES -> files[i] = 0; i++ :: else -> break od;
       users++; user = users; epoch++; forget(); goto start }
    :: isEnough && !inbox && !inboxReset && !waiting && !batchCount -> break
    od
  } unless {
    atomic { killed -> killed = false; life++; forget() };
    goto start
  };
end_library:
  do
  :: atomic { killed -> killed = false; life++; forget(); goto start }
  od
}

/* Kova::track: KICallLog::note in the caller's thread, then the hand-over */
active proctype host() {
  byte next, mine, resets;
  do
  :: next < EVENTS ->
     atomic { isRunning && !killed -> calls = calls | bit(next); epochOf[next] = epoch; mine = life };
     atomic {
       if :: life == mine && !killed && !(erased & bit(next)) -> inbox = inbox | bit(next); accepted = accepted | bit(next) :: else fi;
       next++
     }
  :: atomic { resets < RESETS && isRunning && !killed && !callReset && next < EVENTS ->
       resets++; callReset = next + 1; inboxReset = next + 1; epoch++ }
  :: next == EVENTS -> break
  od;
  isEnough = true
}

active proctype killer() {
  do
  :: atomic { kills < KILLS && isRunning && !killed -> kills++; killed = true }
  :: isEnough -> break
  od
}

ltl all_comes_out { [] (accepted == 0 || <> ((accepted & ~(received | counted | erased | later)) == 0)) }
