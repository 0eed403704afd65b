#ifndef KOVA_C_H
#define KOVA_C_H

/*
 * Kova in C, and through it in every language that can call C. For programs without views: events, users and
 * properties; the library runs a thread of its own for what a main run loop does elsewhere.
 *
 *   kova_settings* settings = kova_settings_new();
 *   kova_settings_set_text(settings, "name", "Importer", KOVA_WHOLE);
 *   kova_settings_set_text(settings, "version", "2.1", KOVA_WHOLE);
 *   kova_settings_set_text(settings, "captureBaseUrl", "https://capture.example.com/", KOVA_WHOLE);
 *   kova_start("1234567890", KOVA_WHOLE, settings);
 *   kova_settings_free(settings);
 *
 *   kova_track("Import finished", KOVA_WHOLE, NULL);
 *   kova_shutdown(2.0);
 *
 * Text is UTF-8 with its length in bytes, or ends with a zero byte when the length is KOVA_WHOLE. It is
 * copied: the caller keeps it. NULL is no text. Handles belong to whoever made them, are freed by their _free
 * function, and are used by one thread at a time. Every other function may be called from any thread, and
 * returns at once unless it says otherwise. Calls take effect in their order. Before kova_start they do
 * nothing. No exception leaves a call, and a thread that is cancelled ends its call first.
 *
 * This interface is stable: a library of the same kova_abi_version has every function that this header names,
 * with the same meaning.
 */

#include <stddef.h>

#if defined(__GNUC__)
#define KOVA_C_API __attribute__((visibility("default")))
#else
#define KOVA_C_API
#endif

#define KOVA_C_ABI_VERSION 0
#define KOVA_WHOLE ((size_t)-1)

#ifdef __cplusplus
extern "C" {
#endif

typedef enum kova_status {
  KOVA_OK = 0,
  KOVA_INVALID = 1, /* an argument is no text, no number, no JSON object, no environment id, a null handle */
  KOVA_UNKNOWN = 2, /* there is no setting of that name and kind */
  KOVA_FAILED = 3   /* memory is short, or the library has failed: the log says why, and it does nothing any
                       more in this process, as in a child that it has forked */
} kova_status;

typedef struct kova_settings kova_settings;
typedef struct kova_properties kova_properties;

/* KOVA_C_ABI_VERSION of the library that runs. */
KOVA_C_API int kova_abi_version(void);
/* "9.0.0". The library's. */
KOVA_C_API const char* kova_library_version(void);

/*
 * Settings. NULL when memory is short. Texts: "name", "identifier", "version", "build", "directory" say what
 * the program is and where its files go; "captureBaseUrl" is where events go. Flags: "assumesNetwork" has
 * uploads tried on a machine without a default route too; "compressUploads", "debug", "disableTracking",
 * "disableAdvertiserIdCapture", "disableVendorIdCapture", "disableTelemetryCapture", "maskedPictures",
 * "useEnvironmentProxy". Reference: KovaHost.h, KovaOptions.h.
 */
KOVA_C_API kova_settings* kova_settings_new(void);
KOVA_C_API void kova_settings_free(kova_settings* settings);
KOVA_C_API kova_status kova_settings_set_text(kova_settings* settings, const char* name, const char* text,
                                              size_t length);
KOVA_C_API kova_status kova_settings_set_flag(kova_settings* settings, const char* name, int flag);

/*
 * Properties: a map of names to texts, numbers and flags, of which a name's last value counts. NULL when
 * memory is short, and from JSON also when the text is no JSON object; its null members are left out.
 */
KOVA_C_API kova_properties* kova_properties_new(void);
KOVA_C_API kova_properties* kova_properties_from_json(const char* json, size_t length);
KOVA_C_API void kova_properties_free(kova_properties* properties);
KOVA_C_API kova_status kova_properties_set_text(kova_properties* properties, const char* name,
                                                const char* text, size_t length);
KOVA_C_API kova_status kova_properties_set_integer(kova_properties* properties, const char* name,
                                                   long integer);
KOVA_C_API kova_status kova_properties_set_number(kova_properties* properties, const char* name,
                                                  double number);
KOVA_C_API kova_status kova_properties_set_flag(kova_properties* properties, const char* name, int flag);

/*
 * Receives each line that the library logs, one call after another, on any thread; instead of standard error.
 * The text is the library's and ends with the call. NULL brings standard error back. The receiver calls
 * nothing of Kova.
 */
typedef void (*kova_log_function)(void* context, const char* text, size_t length);
KOVA_C_API void kova_set_log(kova_log_function receive, void* context);

/*
 * Starts the library for an environment, a decimal number without leading zeros, and returns when it has. The
 * settings stay the caller's. A further call replaces what the one before it started, but not what the
 * program is.
 */
KOVA_C_API kova_status kova_start(const char* environment, size_t length, const kova_settings* settings);

/*
 * For a user who withdraws a consent: ends all recording until the next kova_start, and erases what is stored
 * under the environment id, the user and all that waits to be sent. Waits until it has. Call it after
 * kova_start, which says where the files are. KOVA_FAILED when something may be left.
 */
KOVA_C_API kova_status kova_erase_stored(const char* environment, size_t length);

/* Events. `properties` may be NULL. */
KOVA_C_API kova_status kova_track(const char* event, size_t length, const kova_properties* properties);

/* Users. The identity is a text that is not empty; under another one than before the user becomes a new one
 * first. */
KOVA_C_API kova_status kova_identify(const char* identity, size_t length);
KOVA_C_API kova_status kova_reset_identity(void);
KOVA_C_API kova_status kova_add_user_properties(const kova_properties* properties);
/* Properties of every event from now on, kept across restarts. */
KOVA_C_API kova_status kova_add_event_properties(const kova_properties* properties);
KOVA_C_API kova_status kova_remove_event_property(const char* name, size_t length);
KOVA_C_API kova_status kova_clear_event_properties(void);

/*
 * Each answers the length of the text in bytes, 0 when there is none, and writes as much of it as `size`
 * bytes hold, with a zero byte at the end if size is not 0. `buffer` may be NULL when size is 0.
 */
KOVA_C_API size_t kova_user_id(char* buffer, size_t size);
KOVA_C_API size_t kova_identity(char* buffer, size_t size); /* percent-encoded */
KOVA_C_API size_t kova_session_id(char* buffer, size_t size);

/* A figure of Kova/KovaStatus.h by its name: "events.delivered", "requests.pushedOut". -1 for any other. */
KOVA_C_API long kova_count(const char* name);

KOVA_C_API kova_status kova_set_tracking_enabled(int is_enabled);
KOVA_C_API int kova_is_tracking_enabled(void);
/* Seconds between uploads, 15 unless changed; uploads at once. */
KOVA_C_API kova_status kova_change_interval(double seconds);

/*
 * Both wait, `seconds` at most, until what has been recorded is stored and sent, and answer what it came to:
 * 0, or KOVA_STORED, or KOVA_STORED | KOVA_SENT. What is stored and not sent goes with the next start. The
 * second also ends all recording, until the next kova_start.
 */
#define KOVA_STORED 1
#define KOVA_SENT 2
KOVA_C_API int kova_flush(double seconds);
KOVA_C_API int kova_shutdown(double seconds);

#ifdef __cplusplus
}
#endif

#endif /* KOVA_C_H */
