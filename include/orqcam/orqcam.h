/** @file
 * orqcam: USB astronomy cameras, real and virtual. The C interface, and the only binary one; C99.
 *
 * Results. What can fail returns an orq_status: ORQ_OK or a negative ORQ_ERROR_...; results come through pointers
 * that stand last and are written only with ORQ_OK, unless a function says otherwise. orq_last_error() is one line
 * for a user: what is wrong and what to do about it.
 *
 * Growing structs. A struct that begins with `size` may grow. The caller sets `size` to its own sizeof before
 * every call; the library reads and writes nothing beyond it, takes fields that lie beyond it as zero, and leaves
 * those as zero that it does not know itself. A size of 0 is INVALID: it has been forgotten.
 *
 * Threads. Every function is any-thread: it may be called from any thread at any time, also while other calls on
 * the same camera are under way. Calls that start and stop captures, change the region or take long wait for each
 * other; one thread may wait for frames while another sets controls and a third stops. Different cameras never
 * disturb each other. Callbacks run on a thread of the library; they may not open, close, reopen or release
 * anything. After fork() every call in the child answers ORQ_ERROR_STATE, once the parent has used the library.
 *
 * Handles. A null handle or one of another kind is answered with ORQ_ERROR_INVALID. A released handle must not be
 * used.
 *
 * Texts are UTF-8, zero-terminated; those in structs are cut to fit. Numbers and files never depend on the locale.
 * The library installs no signal handlers, never ends the program and writes nothing to standard output or
 * standard error.
 */
#ifndef ORQCAM_ORQCAM_H
#define ORQCAM_ORQCAM_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define ORQ_API __attribute__((visibility("default")))
#else
#define ORQ_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Results ---- */

typedef int32_t orq_status;
enum {
  ORQ_OK = 0,
  ORQ_ERROR_INVALID = -1,     /**< an argument is wrong: mend the program */
  ORQ_ERROR_NOT_FOUND = -2,   /**< no such camera, control, file: look at the list */
  ORQ_ERROR_PERMISSION = -3,  /**< the user may not use the device or file */
  ORQ_ERROR_BUSY = -4,        /**< another program, or other work on this camera: try again later */
  ORQ_ERROR_LOST = -5,        /**< the camera is gone: plug it in and reopen */
  ORQ_ERROR_TIMEOUT = -6,     /**< not in time: wait again */
  ORQ_ERROR_CANCELLED = -7,   /**< somebody aborted, or closed the camera */
  ORQ_ERROR_UNSUPPORTED = -8, /**< this camera cannot do that */
  ORQ_ERROR_REFUSED = -9,     /**< the camera did not do what it was told */
  ORQ_ERROR_STATE = -10,      /**< not now: closed, no capture runs, a child after fork */
  ORQ_ERROR_RANGE = -11,      /**< a value that this camera does not offer */
  ORQ_ERROR_FILE = -12,       /**< a file cannot be read or written */
  ORQ_ERROR_MEMORY = -13,     /**< no memory, or no frame buffer is free: release frames */
  ORQ_ERROR_INTERNAL = -14    /**< a fault of the library */
};

/** Why the last call on this thread that failed did so, as one line for a user; empty when none has. Valid until
 * the next call that fails on this thread. */
ORQ_API const char* orq_last_error(void);
/** "busy" and so on, "ok" for ORQ_OK, "unknown" for numbers that mean nothing. */
ORQ_API const char* orq_status_name(orq_status status);

/** Version of the library that runs; each pointer may be null. */
ORQ_API void orq_library_version(int32_t* major, int32_t* minor, int32_t* patch);
/** Version of the USB library that it runs on, libusb: "1.0.26". */
ORQ_API const char* orq_usb_version(void);
/** The vendor number of all cameras on USB, by which udev rules and the kernel's log know them. */
#define ORQ_USB_VENDOR_ID 0xF055

/** How much a log line matters. */
enum { ORQ_LOG_WARNING = 2, ORQ_LOG_INFO = 3, ORQ_LOG_DEBUG = 4 };
/** Takes one line without its newline; `level` is one of ORQ_LOG_... Any thread, also several at once. Must not
 * call the library. */
typedef void (*orq_log_callback)(void* user, int32_t level, const char* line);
/** Lines up to `level` go to `callback`; null switches the log off, as at first. ORQ_LOG_DEBUG also switches the
 * debug lines of all cameras on, which the log file orqcam.log in the user's state folder gets as well. When this
 * returns, the callback that was set before is not running and will not be called again; so not from a callback.
 */
ORQ_API orq_status orq_log_set(int32_t level, orq_log_callback callback, void* user);

/* ---- Cameras ---- */

typedef struct orq_camera orq_camera;
typedef struct orq_camera_list orq_camera_list;

/** How a device is connected. */
enum { ORQ_SPEED_UNKNOWN = 0, ORQ_SPEED_USB2 = 2, ORQ_SPEED_USB3 = 3 };

enum {
  ORQ_LIST_USB = 1,     /**< cameras that are plugged in, in the order of their index */
  ORQ_LIST_VIRTUAL = 2, /**< one of every virtual model */
  ORQ_LIST_REPLAY = 4 /**< "virtual:replay", which shows frames of a file and so is opened with the option file= */
};

/** A camera in a list. */
typedef struct orq_camera_entry {
  uint32_t size;
  int32_t speed;     /**< ORQ_SPEED_... */
  char name[64];     /**< what orq_camera_open takes: "serial:9bdf8764f06b32e1", "virtual:k1c", or an index */
  char model[64];    /**< "Tavix ORQ-K1C" */
  char serial[24];   /**< 16 hexadecimal digits; empty: none, or not readable */
  char user_id[16];  /**< the user's own name for it; empty: none */
  char trouble[256]; /**< why it could not be asked (in use, no permission); empty: it could */
  char summary[128]; /**< of virtual models: what they are like, one line; empty for others */
} orq_camera_entry;

/** Lists cameras; `flags` is a sum of ORQ_LIST_... Looks into every camera that no program uses, which takes some
 * milliseconds each. */
ORQ_API orq_status orq_list_cameras(uint32_t flags, orq_camera_list** list);
/** How many cameras a list has. */
ORQ_API orq_status orq_camera_list_count(const orq_camera_list* list, int32_t* count);
/** The `index`-th camera of the list, from 0. RANGE: it has fewer. */
ORQ_API orq_status orq_camera_list_get(const orq_camera_list* list, int32_t index, orq_camera_entry* entry);
/** Null does nothing. */
ORQ_API void orq_camera_list_release(orq_camera_list* list);

/** Told when cameras are plugged in (`entry` as in a list) and unplugged (`entry` has what was known of it),
 * within a second; once for each that is there at first. */
typedef void (*orq_watch_callback)(void* user, int32_t plugged_in, const orq_camera_entry* entry);
typedef struct orq_watch orq_watch;
/** Watches what is plugged in and unplugged until it is released. */
ORQ_API orq_status orq_watch_cameras(orq_watch_callback callback, void* user, orq_watch** watch);
/** When this returns, the callback is not running and will not be called again; so not from it. Null does nothing.
 */
ORQ_API void orq_watch_release(orq_watch* watch);

/** What becomes of a model's settings, which are kept from one run to the next. */
enum {
  ORQ_SETTINGS_OFF = 0,          /**< neither read nor written by themselves */
  ORQ_SETTINGS_LOAD = 1,         /**< read when the camera is opened */
  ORQ_SETTINGS_LOAD_AND_KEEP = 2 /**< and written when a capture stops and when the camera is closed */
};

/** A longer exposure is read from the settings as this one, microseconds: nobody wants to wait for one that was
 * forgotten. */
#define ORQ_LONGEST_KEPT_EXPOSURE_US 100000

/** How a camera is opened. */
typedef struct orq_open_options {
  uint32_t size;
  int32_t settings;         /**< ORQ_SETTINGS_... */
  uint32_t frame_memory_mb; /**< bound of all frames, ready and held; 0: four frames of the whole sensor, 3 bytes a
                               pixel */
  int32_t resume; /**< 1: after a loss the camera is reopened by itself when it is back, and a video goes on */
  char settings_folder[1024]; /**< where settings are read and written; made when it is first written to. Empty:
                                 the folder orqcam in XDG_CONFIG_HOME, by default in ~/.config */
} orq_open_options;

/** Opens a camera by name: an index ("0"), "serial:HEX", "id:TEXT" or "virtual:MODEL[,option=value...]". A null or
 * empty name: the only camera that is plugged in. `options` may be null: all zero. INVALID: a name that can mean
 * no camera; NOT_FOUND: it is not there; BUSY: another program has it; PERMISSION: see the udev rule; FILE:
 * settings are to be used, and there is no folder for them. */
ORQ_API orq_status orq_camera_open(const char* name, const orq_open_options* options, orq_camera** camera);
/** Ends capture and closes the device. Every waiter wakes with CANCELLED. Frames, readers and the event descriptor
 * stay valid, events can be fetched, and the cable of a virtual camera can be pulled and plugged in; every other
 * call but orq_camera_reopen answers STATE from now on. Closing again does nothing. At most 2 s, also when the
 * camera answers nothing. BUSY while its flash is read or written, which orq_capture_abort ends. */
ORQ_API orq_status orq_camera_close(orq_camera* camera);
/** Opens again after orq_camera_close or a loss: the camera with the same serial number, wherever it is plugged
 * in. Controls, region, format, mode and cooler target are as they were; no capture runs. Nothing when it is open.
 * NOT_FOUND: it is not there; REFUSED: only another one of its model is. */
ORQ_API orq_status orq_camera_reopen(orq_camera* camera);
/** Closes, and gives the handle up: using it afterwards is a fault of the program. Who waits with it meanwhile is
 * cancelled. Null does nothing. Frames and readers live on until they are released themselves. */
ORQ_API void orq_camera_release(orq_camera* camera);

/** Pixel formats, as delivered. */
enum {
  ORQ_FORMAT_RAW8 = 0,  /**< one byte a pixel, Bayer mosaic or monochrome */
  ORQ_FORMAT_RGB24 = 1, /**< three bytes a pixel: blue, green, red */
  ORQ_FORMAT_RAW16 = 2, /**< two bytes a pixel in the host's order, left-aligned */
  ORQ_FORMAT_Y8 = 3     /**< one byte a pixel: luminance */
};

/** Colours of the top left 2 x 2 pixels, row by row. */
enum { ORQ_BAYER_NONE = -1, ORQ_BAYER_RGGB = 0, ORQ_BAYER_BGGR = 1, ORQ_BAYER_GRBG = 2, ORQ_BAYER_GBRG = 3 };
/** "RGGB" and so on, as FITS files name it; "" for ORQ_BAYER_NONE and for numbers that mean nothing. */
ORQ_API const char* orq_bayer_name(int32_t bayer);

/** Abilities, bits. */
enum {
  ORQ_ABILITY_COOLER = 1 << 0,
  ORQ_ABILITY_GUIDE_PORT = 1 << 1,
  ORQ_ABILITY_GPS = 1 << 2,
  ORQ_ABILITY_TRIGGER = 1 << 3,
  ORQ_ABILITY_FAN = 1 << 4,
  ORQ_ABILITY_FOCUS_MOTOR = 1 << 5,
  ORQ_ABILITY_HARDWARE_BIN = 1 << 6,
  ORQ_ABILITY_HIGH_SPEED = 1 << 7,
  ORQ_ABILITY_THERMOMETER = 1 << 8,
  ORQ_ABILITY_VIRTUAL = 1 << 9,
  ORQ_ABILITY_USB3 = 1 << 10 /**< made for USB 3; `speed` says what it is plugged into */
};

/** What a camera is, and what it offers. */
typedef struct orq_camera_info {
  uint32_t size;
  int32_t speed; /**< ORQ_SPEED_... */
  char model[64];
  char serial[24];       /**< empty: none */
  char user_id[16];      /**< empty: none */
  char firmware[16];     /**< "1.2.3" */
  int32_t sensor_width;  /**< pixels */
  int32_t sensor_height; /**< pixels */
  double pixel_um;       /**< edge of a pixel, micrometres; 0: unknown */
  int32_t adc_bits;
  int32_t bayer;      /**< of the whole sensor, ORQ_BAYER_... */
  uint32_t bins;      /**< bit n: bin n is offered */
  uint32_t formats;   /**< bit ORQ_FORMAT_...: offered */
  uint32_t abilities; /**< ORQ_ABILITY_... */
  uint32_t reserved;  /**< 0 */
  char key[16];       /**< short name of the model, for file names: "k1c" */
  /** Steps and smallest values of a region: sizes in delivered pixels, starts in sensor pixels. */
  int32_t width_step;
  int32_t height_step;
  int32_t start_x_step;
  int32_t start_y_step;
  int32_t least_width;
  int32_t least_height;
  double electrons_per_adu; /**< of the converter's counts at the present gain; 0: unknown */
} orq_camera_info;

/** What the camera is. Stays the same while it is open, but for the user's name and what depends on the gain. */
ORQ_API orq_status orq_camera_get_info(orq_camera* camera, orq_camera_info* info);

/** The identity that the image sensor's maker has burnt in. */
typedef struct orq_sensor_id {
  uint32_t size;
  char id[28]; /**< 22 hexadecimal digits */
} orq_sensor_id;
/** Asks the sensor. UNSUPPORTED: it has none; REFUSED: it does not answer. */
ORQ_API orq_status orq_sensor_id_get(orq_camera* camera, orq_sensor_id* id);

/** Keeps the camera's controls as they are now, for later runs. STATE: it was opened with ORQ_SETTINGS_OFF; FILE:
 * they cannot be kept. */
ORQ_API orq_status orq_settings_keep(orq_camera* camera);

/** Name of a file or folder. */
typedef struct orq_path {
  uint32_t size;
  char path[4092];
} orq_path;
/** The user's file in which settings are kept; it need not exist. FILE: the environment names no place for it
 * (HOME, XDG_CONFIG_HOME). */
ORQ_API orq_status orq_settings_path(orq_path* path);
/** The user's log file, which ORQ_LOG_DEBUG writes; it need not exist. FILE: the environment names no place for it
 * (HOME, XDG_STATE_HOME). */
ORQ_API orq_status orq_log_path(orq_path* path);

/** Whose settings some are: cameras of one model have them in common, virtual ones apart from real ones. */
typedef struct orq_settings_owner {
  uint32_t size;
  char name[68]; /**< "Tavix ORQ-K1C", "virtual Tavix ORQ-K1C" */
} orq_settings_owner;
/** Whose settings the camera of that name has; it is not opened. A null or empty name: the only camera that is
 * plugged in. INVALID: a name that can mean no camera; NOT_FOUND: it is not there. */
ORQ_API orq_status orq_settings_get_owner(const char* camera_name, orq_settings_owner* owner);
/** One value that is kept. */
typedef struct orq_setting {
  uint32_t size;
  int32_t is_text; /**< 1: `text` holds it; 0: `number` */
  int64_t number;
  char owner[64]; /**< as orq_settings_owner.name */
  char name[64];  /**< "Gain" */
  char unit[8];   /**< "us", "ms", "s", "C", "%"; empty: none */
  char text[4096];
} orq_setting;
typedef struct orq_setting_list orq_setting_list;
/** Lists what is kept in the user's file, owner by owner. FILE: it is damaged, or cannot be read. */
ORQ_API orq_status orq_settings_list(orq_setting_list** list);
/** How many values a list has. */
ORQ_API orq_status orq_setting_list_count(const orq_setting_list* list, int32_t* count);
/** The `index`-th of them, from 0. RANGE: it has fewer. */
ORQ_API orq_status orq_setting_list_get(const orq_setting_list* list, int32_t index, orq_setting* setting);
/** Null does nothing. */
ORQ_API void orq_setting_list_release(orq_setting_list* list);
/** Forgets the settings of one owner, or of all of them (null). Nothing where none are kept. FILE: the file cannot
 * be changed. */
ORQ_API orq_status orq_settings_forget(const char* owner);

/** Pulls the cable of a virtual camera. UNSUPPORTED for others. */
ORQ_API orq_status orq_camera_unplug_virtual(orq_camera* camera);
/** Plugs a virtual camera in again. UNSUPPORTED for others. */
ORQ_API orq_status orq_camera_replug_virtual(orq_camera* camera);

/* ---- Controls ---- */

/** What can be set and read. A camera offers some of them. Raw values; orq_control_info says their unit. */
enum {
  ORQ_CONTROL_GAIN = 0,
  ORQ_CONTROL_EXPOSURE = 1, /**< microseconds */
  ORQ_CONTROL_GAMMA = 2,
  ORQ_CONTROL_WB_R = 3, /**< white balance, red: 1 to 99, 50 neutral */
  ORQ_CONTROL_WB_B = 4,
  ORQ_CONTROL_OFFSET = 5,
  ORQ_CONTROL_BANDWIDTH = 6, /**< percent of the full readout rate */
  ORQ_CONTROL_OVERCLOCK = 7,
  ORQ_CONTROL_TEMPERATURE = 8, /**< of the sensor, tenths of a degree Celsius; read only */
  ORQ_CONTROL_FLIP = 9,        /**< a sum of ORQ_FLIP_... */
  ORQ_CONTROL_AUTO_MAX_GAIN = 10,
  ORQ_CONTROL_AUTO_MAX_EXPOSURE_MS = 11,
  ORQ_CONTROL_AUTO_TARGET_BRIGHTNESS = 12,
  ORQ_CONTROL_HARDWARE_BIN = 13,
  ORQ_CONTROL_HIGH_SPEED = 14,
  ORQ_CONTROL_COOLER_POWER = 15,       /**< percent; read only */
  ORQ_CONTROL_TARGET_TEMPERATURE = 16, /**< degrees Celsius */
  ORQ_CONTROL_COOLER_ON = 17,
  ORQ_CONTROL_MONO_BIN = 18,
  ORQ_CONTROL_FAN_ON = 19,
  ORQ_CONTROL_PATTERN_ADJUST = 20,
  ORQ_CONTROL_ANTI_DEW_HEATER = 21,
  ORQ_CONTROL_FAN_SPEED = 22,
  ORQ_CONTROL_LED_BRIGHTNESS = 23,
  ORQ_CONTROL_HUB_RESET = 24,
  ORQ_CONTROL_GPS_SUPPORT = 25, /**< read only */
  ORQ_CONTROL_GPS_START_LINE = 26,
  ORQ_CONTROL_GPS_END_LINE = 27,
  ORQ_CONTROL_ROLLING_INTERVAL = 28, /**< from row to row, tenths of a microsecond; read only */
  ORQ_CONTROL_READOUT_MODE = 29      /**< of the sensor, from 0; the control's description names them */
};
/** How a control comes to its value. */
enum { ORQ_MANUAL = 0, ORQ_AUTOMATIC = 1 };

/** A control: what it means, and which values it takes. */
typedef struct orq_control_info {
  uint32_t size;
  int32_t id;    /**< ORQ_CONTROL_... */
  char name[64]; /**< "Gain" */
  char description[128];
  char unit[8]; /**< of value / scale: "us", "ms", "C", "%"; empty: none */
  int64_t minimum;
  int64_t maximum;
  int64_t default_value; /**< of a fresh camera */
  int32_t scale;         /**< a value divided by this is in `unit`: 10 for tenths of a degree */
  int32_t automatic;     /**< 1: can set itself */
  int32_t writable;      /**< 1 or 0 */
  int32_t reserved;      /**< 0 */
} orq_control_info;

/** Number of controls that this camera offers. */
ORQ_API orq_status orq_control_count(orq_camera* camera, int32_t* count);
/** Describes the `index`-th of them, from 0. RANGE: it offers fewer. */
ORQ_API orq_status orq_control_describe(orq_camera* camera, int32_t index, orq_control_info* info);
/** Describes a control by name, in any case of letters. UNSUPPORTED: other cameras have it; INVALID: none has. */
ORQ_API orq_status orq_control_find(orq_camera* camera, const char* name, orq_control_info* info);
/** Reads a control; `mode` (ORQ_MANUAL or ORQ_AUTOMATIC) may be null. REFUSED: its value is not known now. */
ORQ_API orq_status orq_control_get(orq_camera* camera, int32_t id, int64_t* value, int32_t* mode);
/** Sets a control. With ORQ_AUTOMATIC it goes on from where it is, whatever `value`, as long as video runs. RANGE,
 * and nothing changes, outside its limits. A change of binning or readout mode restarts a running capture. */
ORQ_API orq_status orq_control_set(orq_camera* camera, int32_t id, int64_t value, int32_t mode);

/** Describes control `id` of the model with that key ("k1c") without a camera; its default is the catalogue's.
 * Both limits are 0 when the model has no such control. NOT_FOUND: no such model; RANGE: the catalogue, which ends
 * with ORQ_CONTROL_ROLLING_INTERVAL, has no such control. */
ORQ_API orq_status orq_model_control(const char* model, int32_t id, orq_control_info* info);

/** What automatic exposure, gain and white balance have come to. */
typedef struct orq_automatic_state {
  uint32_t size;
  int32_t mean;   /**< brightness of the frame that was measured last, 1 to 255; 0: none was */
  int32_t target; /**< for it */
  int32_t gain;
  uint64_t exposure_us;
  int32_t wb_r; /**< white balance, red; 0: it is not automatic */
  int32_t wb_b;
  int32_t settled;   /**< 1: nothing has had to be changed for some frames */
  int32_t on_target; /**< 1: the brightness is as near its target as it is brought, or none was measured */
} orq_automatic_state;
/** STATE: no control is automatic. */
ORQ_API orq_status orq_automatic_get(orq_camera* camera, orq_automatic_state* state);
/** Waits until nothing has had to be changed for some frames of the video that runs, counted from this call.
 * TIMEOUT after `seconds`; STATE: no control is automatic, or no video runs; REFUSED: the video has failed;
 * CANCELLED: somebody has aborted. */
ORQ_API orq_status orq_automatic_wait(orq_camera* camera, double seconds);

/** Gains with a meaning of their own. */
enum {
  ORQ_GAIN_UNITY = 0,        /**< a count of the converter is an electron, as nearly as the camera comes to it */
  ORQ_GAIN_LOWEST_NOISE = 1, /**< least electrons per count: the converter adds least to what the pixels read */
  ORQ_GAIN_LARGEST_RANGE = 2 /**< most gain at which the converter takes the full well; least when it never does */
};
/** What such a gain comes to. */
typedef struct orq_gain_preset {
  uint32_t size;
  int32_t gain;             /**< for ORQ_CONTROL_GAIN */
  double electrons_per_adu; /**< of the converter's counts */
  double most_electrons; /**< that a pixel can tell: its full well or the converter's end, whichever comes first */
} orq_gain_preset;
/** `preset`: ORQ_GAIN_..., computed from what a count is worth at each gain of the present readout mode. Sets
 * nothing. UNSUPPORTED: that is not known of this camera. */
ORQ_API orq_status orq_gain_preset_get(orq_camera* camera, int32_t preset, orq_gain_preset* found);

/* ---- Cooling, guiding, GPS lines ---- */

/** Temperature of the sensor, degrees Celsius. */
ORQ_API orq_status orq_temperature_get(orq_camera* camera, double* sensor_c);
/** Supply voltage, volts. UNSUPPORTED: the camera does not measure it, or does not answer. */
ORQ_API orq_status orq_supply_voltage_get(orq_camera* camera, double* volts);

/** What the cooler does. */
typedef struct orq_cooler_state {
  uint32_t size;
  int32_t on; /**< 1 or 0 */
  double target_c;
  double sensor_c;   /**< NaN: the thermometer does not answer */
  double power;      /**< percent of the full drive */
  double reach_c;    /**< how cold it gets, once that is known to fall short of the target; NaN: not known */
  char trouble[256]; /**< why it cannot regulate; empty: it can */
} orq_cooler_state;
/** UNSUPPORTED: the camera has no cooler. */
ORQ_API orq_status orq_cooler_get(orq_camera* camera, orq_cooler_state* state);
/** Switches the cooler on with a target in whole degrees, or off at once (`target_c` does not count then). It
 * ramps down by itself. `keep` 1: it stays on when the camera is closed; 0: it goes off then. */
ORQ_API orq_status orq_cooler_set(orq_camera* camera, int32_t on, double target_c, int32_t keep);
/** Waits until the sensor has kept within 0.2 degrees of the target for five seconds. TIMEOUT after `seconds`;
 * RANGE: the target is out of reach; REFUSED: the cooler has stopped; CANCELLED: somebody has aborted. */
ORQ_API orq_status orq_cooler_wait(orq_camera* camera, double seconds);
/** Warms the sensor up slowly and switches the cooler off. Nothing when it is off. TIMEOUT leaves it on;
 * CANCELLED, when somebody has aborted: it has gone off at once. */
ORQ_API orq_status orq_cooler_warm_up(orq_camera* camera, double seconds);

enum { ORQ_GUIDE_NORTH = 0, ORQ_GUIDE_SOUTH = 1, ORQ_GUIDE_EAST = 2, ORQ_GUIDE_WEST = 3 };
/** Holds a line of the guide port on for 1 to 60,000 ms; returns when it is off again, which it is in every case.
 * CANCELLED: somebody has aborted. */
ORQ_API orq_status orq_guide_pulse(orq_camera* camera, int32_t direction, int32_t milliseconds);

/** The two sensor lines at which the GPS takes the time, from 0. */
typedef struct orq_gps_lines {
  uint32_t size;
  int32_t follow; /**< 1: they are the first and last line of the region, as at first */
  int32_t start;
  int32_t end;
} orq_gps_lines;
/** UNSUPPORTED: the camera has no GPS. */
ORQ_API orq_status orq_gps_get_lines(orq_camera* camera, orq_gps_lines* lines);
/** With `follow` 1 the other fields do not count. */
ORQ_API orq_status orq_gps_set_lines(orq_camera* camera, const orq_gps_lines* lines);

/** The GPS receiver, and what it latched last at the two lines. */
typedef struct orq_gps_receiver {
  uint32_t size;
  int32_t version;
  int32_t readable; /**< 0: too old to be read; its times are with the frames only */
  int32_t fix;      /**< 1: it has latched valid time and position; 0: as all below */
  int32_t start_satellites;
  int32_t end_satellites;
  double start_latitude;  /**< degrees, north positive */
  double start_longitude; /**< degrees, east positive */
  double start_altitude_m;
  double end_latitude;
  double end_longitude;
  double end_altitude_m;
  char start_utc[32]; /**< "2026-11-21T04:42:31.1234567": start of the exposure of the first line */
  char end_utc[32];
  char start_position[64]; /**< as the receiver words it */
  char end_position[64];
} orq_gps_receiver;
/** Asks the receiver. UNSUPPORTED: the camera has no GPS. */
ORQ_API orq_status orq_gps_get_receiver(orq_camera* camera, orq_gps_receiver* receiver);
/** Whether frames of the present region can have GPS time. STATE: both lines do not lie in it. */
ORQ_API orq_status orq_gps_check(orq_camera* camera);

/* ---- Darks and hot pixels ---- */

/** How far taking a dark is. */
typedef struct orq_dark_progress {
  uint32_t size;
  int32_t frame; /**< the one under way, from 1 */
  int32_t frames;
  int32_t reserved;    /**< 0 */
  uint64_t elapsed_us; /**< of it */
  uint64_t exposure_us;
} orq_dark_progress;
/** Called every few milliseconds on the calling thread. */
typedef void (*orq_dark_callback)(void* user, const orq_dark_progress* progress);
/** How a dark was taken, and what it shows. */
typedef struct orq_dark_info {
  uint32_t size;
  int32_t frames; /**< 0, of a file: nothing is known about it */
  uint64_t exposure_us;
  int64_t taken_unix_ns;
  int32_t gain;
  int32_t offset;
  double sensor_c;      /**< NaN: unknown */
  int32_t average;      /**< of the whole dark, 0 to 255 */
  int32_t hot_pixels;   /**< sensor pixels more than 30 above the average, those of bad rows left out */
  int32_t bad_rows;     /**< rows of which at least half is hot */
  int32_t readout_mode; /**< as orq_frame_info.readout_mode; -1: unknown */
  char model[64];       /**< of the camera that took it */
  char serial[24];      /**< of that camera; empty: it has none */
  char trouble[512];    /**< of a file: why its description does not count; empty: it does, or there is none */
} orq_dark_info;
/** How a dark is to be taken. */
typedef struct orq_dark_options {
  uint32_t size;
  int32_t frames;    /**< 1 to 16; 0: as many as the exposure asks for */
  int32_t overwrite; /**< 1: an existing file is replaced */
  int32_t reserved;  /**< 0 */
} orq_dark_options;
/** Takes a dark of the covered sensor with the present exposure, gain and offset, and writes it to `path`, a .bmp
 * with its description beside it. A null `path` is the camera's own (orq_dark_choice.kept), which is replaced and
 * chosen. A running capture is interrupted for it and goes on afterwards, without the dark that was in use until
 * then, if any. Blocks; orq_capture_abort ends it.
 * `options`, `callback`, `user` and `info` may be null. */
ORQ_API orq_status orq_dark_take(orq_camera* camera, const char* path, const orq_dark_options* options,
                                 orq_dark_callback callback, void* user, orq_dark_info* info);
/** While the exposure is automatic, frames that are exposed for less than this, microseconds, stay without the
 * dark: it was taken with another exposure. */
#define ORQ_SHORTEST_AUTOMATIC_DARK_US 500000
/** Subtracts the dark in a file from the frames to come; a null path: none. RANGE: it is of another sensor. */
ORQ_API orq_status orq_dark_use(orq_camera* camera, const char* path);
/** Whether a dark could be written to `path`, as in orq_dark_take: better to know before its exposures than after
 * them. */
ORQ_API orq_status orq_dark_check(orq_camera* camera, const char* path, int32_t overwrite);
/** What is known about the dark in a file. FILE: it is none; RANGE: it is of another sensor. */
ORQ_API orq_status orq_dark_read(orq_camera* camera, const char* path, orq_dark_info* info);
/** Copies a dark with its description; a null `to` is the camera's own place, which is replaced and chosen. */
ORQ_API orq_status orq_dark_copy(orq_camera* camera, const char* from, const char* to, int32_t overwrite);
/** What is known about the dark that is subtracted. */
typedef struct orq_dark_state {
  uint32_t size;
  int32_t in_use;        /**< 1: a dark is subtracted; 0: none, and the texts are empty */
  char trouble[512];     /**< why the description beside it does not count; empty: it does, or there is none */
  char differences[512]; /**< how the camera is set differently from how the dark was taken, one line; empty: it is
                            not, or that is not known */
} orq_dark_state;
/** Compares the dark in use with what is set now. */
ORQ_API orq_status orq_dark_get_state(orq_camera* camera, orq_dark_state* state);

/** The dark that the user has chosen for a camera, from one run to the next. Nothing is subtracted by it alone. */
typedef struct orq_dark_choice {
  uint32_t size;
  int32_t is_kept;   /**< 1: there is a dark at `kept` */
  char chosen[4096]; /**< its file; empty: none is chosen */
  char kept[4096];   /**< where the camera's own dark is kept; empty: the environment names no place for it */
  char trouble[512]; /**< why it cannot be told what is chosen; empty: it can */
} orq_dark_choice;
/** What is chosen. */
ORQ_API orq_status orq_dark_choice_get(orq_camera* camera, orq_dark_choice* choice);
/** Chooses the dark in a file; a null path: none. */
ORQ_API orq_status orq_dark_choice_set(orq_camera* camera, const char* path);

/** Repairs the hot pixels that the table in the camera's flash lists (1), or none (0). STATE: there is no table.
 */
ORQ_API orq_status orq_hot_pixels_repair(orq_camera* camera, int32_t on);
/** Whether they are repaired: 1 or 0. */
ORQ_API orq_status orq_hot_pixels_get_repair(orq_camera* camera, int32_t* on);

/** The hot pixels of a whole sensor, as they were when the table was made; the camera may be gone. */
typedef struct orq_hot_pixel_table orq_hot_pixel_table;
/** Reads the table in the camera's flash. NOT_FOUND: there is none; STATE: it is damaged, or a capture runs. */
ORQ_API orq_status orq_hot_pixels_read(orq_camera* camera, orq_hot_pixel_table** table);
/** Takes a dark as orq_dark_take does, but writes it to no file, and finds the pixels that stand out in it;
 * orq_hot_pixels_save then puts them into flash. A dark in use is subtracted no more. `options` (of which only
 * `frames` counts), `callback`, `user` and `info` may be null. */
ORQ_API orq_status orq_hot_pixels_find(orq_camera* camera, const orq_dark_options* options,
                                       orq_dark_callback callback, void* user, orq_dark_info* info,
                                       orq_hot_pixel_table** table);
/** How much a table has. */
typedef struct orq_hot_pixel_counts {
  uint32_t size;
  int32_t width; /**< of the sensor, pixels */
  int32_t height;
  int32_t pixels;   /**< hot ones that are repaired by themselves */
  int32_t bad_rows; /**< rows of which at least half is hot: they are repaired as a whole */
  int32_t left_out; /**< hot pixels beyond the number that is repaired */
} orq_hot_pixel_counts;
/** Counts what the table has. */
ORQ_API orq_status orq_hot_pixel_table_get_counts(const orq_hot_pixel_table* table, orq_hot_pixel_counts* counts);
/** The place of the `index`-th pixel that is repaired by itself, from 0, row by row; `x` and `y` count from 0 at
 * the top left. RANGE: there are fewer. */
ORQ_API orq_status orq_hot_pixel_table_get_pixel(const orq_hot_pixel_table* table, int32_t index, int32_t* x,
                                                 int32_t* y);
/** The `index`-th bad row, from 0. RANGE: there are fewer. */
ORQ_API orq_status orq_hot_pixel_table_get_bad_row(const orq_hot_pixel_table* table, int32_t index, int32_t* y);
/** Files that a table can be saved as. */
enum {
  ORQ_TABLE_CSV = 0, /**< "x_px,y_px,value" of every hot pixel; value 1, or 2 in a bad row */
  ORQ_TABLE_BMP = 1, /**< as a dark: hot pixels 255, good ones 0 */
  ORQ_TABLE_PNG = 2  /**< a picture: hot pixels white, those of bad rows grey, good ones black */
};
/** Writes the table to a file that is either whole or not there. `format`: ORQ_TABLE_... FILE: it cannot be
 * written, or is there already and `overwrite` is 0. */
ORQ_API orq_status orq_hot_pixel_table_save(const orq_hot_pixel_table* table, const char* path, int32_t format,
                                            int32_t overwrite);
/** Null does nothing. */
ORQ_API void orq_hot_pixel_table_release(orq_hot_pixel_table* table);

/* ---- Flash ---- */

/** How far work on the camera's flash memory is. */
typedef struct orq_flash_progress {
  uint32_t size;
  uint32_t done; /**< bytes */
  uint32_t total;
  uint32_t reserved; /**< 0 */
  char step[16];     /**< "reading", "restoring", "saving" or "comparing" */
} orq_flash_progress;
/** Called on the calling thread. */
typedef void (*orq_flash_callback)(void* user, const orq_flash_progress* progress);
/* Work on flash takes seconds and blocks; orq_capture_abort ends it between two sectors, also from the callback,
 * and closing the camera answers BUSY meanwhile. STATE: a capture runs. What overwrites flash saves it first, to a
 * new file in `backup_folder` (null: the user's state folder). `callback` and `user` may be null. */
/** Saves the part of flash that belongs to the user, the table of hot pixels and the id, to a file. FILE: it is
 * there already and `overwrite` is 0. */
ORQ_API orq_status orq_flash_save(orq_camera* camera, const char* path, int32_t overwrite,
                                  orq_flash_callback callback, void* user);
/** Makes flash like such a file, and compares. INVALID: the file is of another camera, and `other_camera` is 0. */
ORQ_API orq_status orq_flash_restore(orq_camera* camera, const char* path, int32_t other_camera,
                                     const char* backup_folder, orq_flash_callback callback, void* user);
/** The file to which flash was saved before this camera's was last overwritten; empty: it was not. Also of a
 * camera that is lost or closed. */
ORQ_API orq_status orq_flash_get_backup(orq_camera* camera, orq_path* path);
/** What is known about such a file. */
typedef struct orq_flash_file {
  uint32_t size;
  uint32_t bytes;         /**< of flash that it holds */
  int32_t is_of_camera;   /**< 1: of this camera; 0: of another one, or that cannot be told */
  int32_t usb_product_id; /**< of the camera that it is of */
  char serial[24];        /**< of that camera; empty: it has none */
} orq_flash_file;
/** Looks into such a file. FILE: it is none, or damaged. */
ORQ_API orq_status orq_flash_read_file(orq_camera* camera, const char* path, orq_flash_file* file);
/** How the camera's flash compares with such a file. */
typedef struct orq_flash_comparison {
  uint32_t size;
  int32_t same;         /**< 1 or 0 */
  char difference[256]; /**< where the first one is, one line; empty: nowhere */
} orq_flash_comparison;
/** Compares the camera's flash with such a file. FILE: it is none, or damaged. */
ORQ_API orq_status orq_flash_compare(orq_camera* camera, const char* path, orq_flash_callback callback, void* user,
                                     orq_flash_comparison* comparison);
/** The user's name for a camera. */
typedef struct orq_user_id {
  uint32_t size;
  char id[12]; /**< up to 8 characters; what no terminal should show is a question mark. Empty: none */
} orq_user_id;
/** Reads the user's name from flash. REFUSED: flash cannot be read. */
ORQ_API orq_status orq_user_id_get(orq_camera* camera, orq_user_id* id);
/** Stores the user's name for the camera: up to 8 printable ASCII characters; empty: none. */
ORQ_API orq_status orq_user_id_set(orq_camera* camera, const char* id, const char* backup_folder,
                                   orq_flash_callback callback, void* user);
/** Stores the hot pixels of the dark that was taken, or is in use, in flash. STATE: there is no dark. */
ORQ_API orq_status orq_hot_pixels_save(orq_camera* camera, const char* backup_folder, orq_flash_callback callback,
                                       void* user);

/* ---- Focus motor ---- */

/** Where the focus motor is. */
typedef struct orq_focus_state {
  uint32_t size;
  int32_t position;   /**< 0 to 1023 */
  int32_t moving;     /**< 1 or 0 */
  int32_t lower_mark; /**< of the lens; -1: unknown */
  int32_t upper_mark;
  int32_t driver_id; /**< what the motor's driver says it is, 0 to 255 */
} orq_focus_state;
/** Of cameras with ORQ_ABILITY_FOCUS_MOTOR. */
ORQ_API orq_status orq_focus_get(orq_camera* camera, orq_focus_state* state);
/** Moves the lens to a position and waits until it is there. RANGE: there is none; TIMEOUT: something blocks it;
 * CANCELLED: somebody has aborted, and the lens is on its way. */
ORQ_API orq_status orq_focus_move(orq_camera* camera, int32_t position);

/* ---- Geometry ---- */

/** Which part of the sensor frames show, and how. */
typedef struct orq_region {
  uint32_t size;
  int32_t start_x; /**< sensor pixels */
  int32_t start_y;
  int32_t width; /**< delivered pixels: sensor pixels / bin */
  int32_t height;
  int32_t bin;      /**< 1 to 4 */
  int32_t format;   /**< ORQ_FORMAT_... */
  int32_t reserved; /**< 0 */
} orq_region;

/** The nearest region that the camera offers: sizes and starts are rounded down to its steps. RANGE when there is
 * none. */
ORQ_API orq_status orq_region_fit(orq_camera* camera, const orq_region* wanted, orq_region* fitted);
/** Fits and applies. A running capture goes on with the new region (an exposure under way begins anew); no frame
 * of the old one is delivered afterwards. `applied` may be null. */
ORQ_API orq_status orq_region_set(orq_camera* camera, const orq_region* wanted, orq_region* applied);
/** The region that holds now. */
ORQ_API orq_status orq_region_get(orq_camera* camera, orq_region* region);

/** Colours of the top left 2 x 2 pixels of frames to come, ORQ_BAYER_...: after region, bin, format and flips. */
ORQ_API orq_status orq_region_get_bayer(orq_camera* camera, int32_t* bayer);

/* ---- Capture ---- */

typedef struct orq_frame orq_frame;
typedef struct orq_reader orq_reader;

/** Waits without end. */
#define ORQ_FOREVER (-1)

/** Starts one exposure of `exposure_us` microseconds (0: as the control says). Its frame goes to the readers.
 * STATE: a capture runs; RANGE: the camera does not offer that exposure. */
ORQ_API orq_status orq_exposure_start(orq_camera* camera, uint64_t exposure_us);
/** How far an exposure is. */
typedef struct orq_exposure_progress {
  uint32_t size;
  int32_t running;     /**< 1 while an exposure or its readout is under way */
  uint64_t elapsed_us; /**< since it began; at most `exposure_us` while it runs */
  uint64_t exposure_us;
  uint64_t
      limit_us; /**< in which a frame that is exposed as the controls say comes; one later than that is given up */
} orq_exposure_progress;
/** How far the exposure under way is. */
ORQ_API orq_status orq_exposure_get_progress(orq_camera* camera, orq_exposure_progress* progress);
/** Starts a video: frames one after the other, exposed as the controls say. STATE: a capture runs. */
ORQ_API orq_status orq_video_start(orq_camera* camera);
/** Stops a video. Nothing when none runs; who waits for a frame is cancelled. */
ORQ_API orq_status orq_video_stop(orq_camera* camera);
/** Ends exposure or video without its frame, and other long work on this camera. Who waits wakes with CANCELLED at
 * once; this returns within 0.5 s in every state. Nothing when nothing runs. */
ORQ_API orq_status orq_capture_abort(orq_camera* camera);
/** Ends exposure or video without its frame, as orq_capture_abort does; guide pulses, the cooler and the focus
 * motor go on. Nothing when no capture runs. */
ORQ_API orq_status orq_exposure_abort(orq_camera* camera);

/** What the stream that runs, or ran last, has counted. `started` is the sum of `completed`, `failed`, `stale`,
 * `dropped`, `aborted` and `filling`; `failed` that of its kinds. */
typedef struct orq_stream_counters {
  uint32_t size;
  uint32_t reserved;         /**< 0 */
  uint64_t started;          /**< frames of which at least one byte came */
  uint64_t completed;        /**< whole and good */
  uint64_t failed;           /**< not delivered because of the stream; the kinds follow below */
  uint64_t stale;            /**< exposed before this capture began */
  uint64_t dropped;          /**< read and discarded because the computer was too slow */
  uint64_t aborted;          /**< cut off by a stop */
  uint64_t filling;          /**< in work now */
  uint64_t failed_short;     /**< ended before their length */
  uint64_t failed_oversize;  /**< longer than their length */
  uint64_t failed_marks;     /**< header or trailer damaged, or of another geometry */
  uint64_t failed_sequence;  /**< number repeated or going back */
  uint64_t failed_stalled;   /**< in work when the endpoint stalled */
  uint64_t failed_transport; /**< in work when a transfer failed or the camera vanished */
  uint64_t failed_timed_out; /**< in work when a transfer timed out */
  uint64_t lost;             /**< numbers that never arrived */
  uint64_t overwritten;      /**< good frames that the default reader did not fetch in time */
  uint64_t bytes;            /**< that transfers brought */
  uint64_t bytes_discarded;  /**< of these, that were put nowhere */
  uint64_t submit_retries;   /**< transfers tried again because the system had no USB memory */
  uint64_t halts_cleared;
  uint64_t resyncs;
  uint64_t in_flight; /**< transfers under way */
  uint64_t in_flight_max;
  uint64_t longest_gap_us; /**< between two transfers */
} orq_stream_counters;
/** What the stream has counted so far; also of a camera that is lost or closed. */
ORQ_API orq_status orq_stream_get_counters(orq_camera* camera, orq_stream_counters* counters);

/** Prints local date and time into the frames that follow (1) or not (0, as at first): 8-bit formats of at least
 * 200 x 23 pixels. */
ORQ_API orq_status orq_time_mark_set(orq_camera* camera, int32_t on);

/** Asks the GPS for the time of a frame at most every so many milliseconds; 0: of every frame, as at first;
 * negative: never. Each time costs some short requests. Of cameras with ORQ_ABILITY_GPS, UNSUPPORTED by others. */
ORQ_API orq_status orq_gps_stamp_every(orq_camera* camera, int32_t milliseconds);

/** Reads temperature and cooler with the frames (1, as at first; of a video once a second), or not (0). */
ORQ_API orq_status orq_frame_readings_set(orq_camera* camera, int32_t on);

/** The next frame of the default reader: the newest one that was not fetched yet. TIMEOUT after `timeout_ms`
 * (ORQ_FOREVER: never), CANCELLED when the capture was ended, REFUSED when it failed, LOST, STATE when no capture
 * runs and no frame is left, MEMORY when frames came and none could be delivered, for the time-out or, with
 * ORQ_FOREVER, for two seconds, because all frame memory is held. */
ORQ_API orq_status orq_frame_wait(orq_camera* camera, int32_t timeout_ms, orq_frame** frame);

enum {
  ORQ_READ_NEWEST = 0, /**< a frame that is not fetched before the next one is replaced */
  ORQ_READ_EVERY =
      1 /**< frames wait in line, `depth` of them; when the line is full the newest is left out, and counted */
};
/** How a reader takes frames. */
typedef struct orq_reader_options {
  uint32_t size;
  int32_t mode;     /**< ORQ_READ_... */
  int32_t depth;    /**< of ORQ_READ_EVERY, 1 to 4096; 0: 8. Bounded by the frame memory as well */
  int32_t reserved; /**< 0 */
} orq_reader_options;
/** One more reader of the camera's frames, from the next one on; 64 at most. `options` may be null: newest. */
ORQ_API orq_status orq_reader_open(orq_camera* camera, const orq_reader_options* options, orq_reader** reader);
/** As orq_frame_wait, and CANCELLED when the reader is released meanwhile. Frames in line can be fetched also when
 * the camera has been closed. */
ORQ_API orq_status orq_reader_wait(orq_reader* reader, int32_t timeout_ms, orq_frame** frame);
/** What a reader has done since it was opened. */
typedef struct orq_reader_counters {
  uint32_t size;
  uint32_t waiting;   /**< frames in line now */
  uint64_t delivered; /**< frames handed to the caller */
  uint64_t missed;    /**< replaced or left out, because the reader was slow */
  uint64_t no_buffer; /**< frames that this camera could not deliver to anybody since the capture began: no buffer
                         was free */
} orq_reader_counters;
/** Also of a reader whose camera is closed. */
ORQ_API orq_status orq_reader_get_counters(orq_reader* reader, orq_reader_counters* counters);
/** Waiters wake with CANCELLED; frames in line are given back. Null does nothing. */
ORQ_API void orq_reader_release(orq_reader* reader);

/* ---- Files ---- */

enum { ORQ_IMAGE_LIGHT = 0, ORQ_IMAGE_DARK = 1, ORQ_IMAGE_BIAS = 2, ORQ_IMAGE_FLAT = 3 };
/** What files say about frames beside what the camera knows. Printable ASCII of at most 68 characters; empty: not
 * told. */
typedef struct orq_labels {
  uint32_t size;
  int32_t image_type; /**< ORQ_IMAGE_... */
  char object[72];    /**< what the telescope looks at */
  char observer[72];
  char creator[72]; /**< program that writes the files; empty: this library with its version */
} orq_labels;
/** Of the frames that are published from now on. */
ORQ_API orq_status orq_labels_set(orq_camera* camera, const orq_labels* labels);
/** Adds a keyword of the user's, or replaces it: "TELESCOP=Newton 150/750 / its comment". INVALID: nothing that
 * FITS allows, or a keyword that the library writes itself. */
ORQ_API orq_status orq_keyword_set(orq_camera* camera, const char* keyword);
/** Removes all of the user's keywords. */
ORQ_API orq_status orq_keywords_clear(orq_camera* camera);
/** What the user states once for the files of all programs. Printable ASCII of at most 68 characters; empty texts
 * and NaN: not stated. */
typedef struct orq_profile {
  uint32_t size;
  uint32_t reserved; /**< 0 */
  char observer[72];
  char telescope[72];
  char filter[72];
  char site[72];
  double focal_length_mm; /**< 1 to 1e6 */
  double latitude_deg;    /**< -90 to 90, north positive */
  double longitude_deg;   /**< -180 to 180, east positive */
  double elevation_m;     /**< -1000 to 10000 */
} orq_profile;
/** The user's profile; nothing is stated where none is kept. FILE: it is damaged, or cannot be read. */
ORQ_API orq_status orq_profile_get(orq_profile* profile);
/** Replaces it. INVALID, and nothing changes: a field that cannot be; FILE: there is no place for it. */
ORQ_API orq_status orq_profile_set(const orq_profile* profile);
/** Forgets all of it, also when it is damaged. */
ORQ_API orq_status orq_profile_clear(void);
/** The user's profile becomes that of a camera's files: the keywords that are not set yet, and the observer when
 * that is empty. FILE: the profile is damaged. */
ORQ_API orq_status orq_profile_apply(orq_camera* camera);

/** Whether a program could write that file with orq_file_write: better to know before long work than after it.
 * FILE: it could not. */
ORQ_API orq_status orq_file_check(const char* path, int32_t overwrite);
/** Writes a file of the program's own that is either whole or not there. FILE: it cannot be written, or is there
 * already and `overwrite` is 0. */
ORQ_API orq_status orq_file_write(const char* path, const uint8_t* bytes, size_t size, int32_t overwrite);

/* ---- Triggers ---- */

/** What begins an exposure. */
enum {
  ORQ_MODE_FREE = 0,           /**< frame after frame */
  ORQ_MODE_SOFTWARE = 1,       /**< each software trigger */
  ORQ_MODE_RISING = 2,         /**< each rising edge of the trigger input */
  ORQ_MODE_FALLING = 3,        /**< each falling edge of the trigger input */
  ORQ_MODE_SOFTWARE_LEVEL = 4, /**< each software trigger, by level */
  ORQ_MODE_HIGH = 5,           /**< frame after frame while the trigger input is high */
  ORQ_MODE_LOW = 6             /**< frame after frame while the trigger input is low */
};
/** The modes that the camera offers: bit n stands for mode n. */
ORQ_API orq_status orq_trigger_get_modes(orq_camera* camera, uint32_t* modes);
/** What begins an exposure now: ORQ_MODE_... */
ORQ_API orq_status orq_trigger_get_mode(orq_camera* camera, int32_t* mode);
/** UNSUPPORTED: the camera does not offer it; STATE: a capture runs. */
ORQ_API orq_status orq_trigger_set_mode(orq_camera* camera, int32_t mode);
/** Triggers one exposure of the capture that runs, in a software mode. Waits for a capture that has just been
 * started. A camera that still exposes or reads out ignores it. STATE: no capture waits for a software trigger. */
ORQ_API orq_status orq_trigger_send(orq_camera* camera);

enum { ORQ_OUTPUT_A = 0, ORQ_OUTPUT_B = 1 };
/** The pulse on a trigger output with each exposure. */
typedef struct orq_trigger_output {
  uint32_t size;
  int32_t active_high; /**< 1: high during the pulse; 0: low */
  int32_t delay_us;    /**< from the start of the exposure; 0 or more */
  int32_t length_us;   /**< 0: no pulse */
} orq_trigger_output;
/** The pulse on `output`, ORQ_OUTPUT_... UNSUPPORTED: the camera has no such output. */
ORQ_API orq_status orq_trigger_get_output(orq_camera* camera, int32_t output, orq_trigger_output* pulse);
/** Changes it; its times from the next exposure on. */
ORQ_API orq_status orq_trigger_set_output(orq_camera* camera, int32_t output, const orq_trigger_output* pulse);

/* ---- Frames ---- */

/** Where a frame's time comes from. */
enum { ORQ_TIME_COMPUTER = 0, ORQ_TIME_GPS = 1, ORQ_TIME_GPS_PREDICTED = 2 };

/** A flip swaps left and right, or top and bottom. */
enum { ORQ_FLIP_HORIZONTAL = 1, ORQ_FLIP_VERTICAL = 2 };

/** What was done to raw pixels. */
enum { ORQ_CORRECTED_DARK = 1, ORQ_CORRECTED_HOT_PIXELS = 2 };

/** What is known about a frame. */
typedef struct orq_frame_info {
  uint32_t size;
  uint32_t sequence; /**< the camera's own frame number, 32 bits, wraps */
  int32_t start_x;   /**< sensor pixels */
  int32_t start_y;
  int32_t width; /**< pixels */
  int32_t height;
  int32_t bin;
  int32_t format; /**< ORQ_FORMAT_... */
  int32_t bayer;  /**< of the delivered pixels, after region and flips; ORQ_BAYER_... */
  int32_t bytes_per_pixel;
  uint64_t exposure_us; /**< as the sensor exposed */
  int64_t time_unix_ns; /**< start of exposure of the row that was read out first, UTC */
  int64_t end_unix_ns;  /**< end of exposure of the row that was read out last, UTC */
  int64_t time_uncertainty_ns;
  int32_t time_source; /**< ORQ_TIME_... */
  int32_t gain;
  int32_t offset;
  int32_t flips;            /**< a sum of ORQ_FLIP_... */
  double electrons_per_adu; /**< of the delivered pixel values; 0: unknown */
  uint64_t number;          /**< of the frames published since the camera was opened, from 1 */
  double sensor_c;          /**< temperature of the sensor; NaN: unknown */
  double target_c;          /**< of the cooler, while that is on; NaN otherwise */
  int32_t cooler_power;     /**< percent of the full drive; -1: no cooler */
  int32_t gamma;            /**< brightness curve that was applied; 50: none */
  int32_t corrections;      /**< a sum of ORQ_CORRECTED_... */
  int32_t readout_mode; /**< 0: normal; 1: high speed; where the camera has ORQ_CONTROL_READOUT_MODE: its value */
  double black_level;   /**< what a pixel without any charge reads; NaN: unknown */
  double saturated;     /**< what a full pixel reads; NaN: unknown */
  int32_t
      real_exposure_ms; /**< as the camera has measured it, of single exposures from a second on; -1: it has not */
  int32_t after_gap;    /**< 1: the first one of a video that goes on after a loss (orq_open_options.resume) */
} orq_frame_info;

/** The pixels: rows top down, without gaps, in the frame's format. Valid while the caller holds the frame; not to
 * be written to. */
ORQ_API orq_status orq_frame_data(const orq_frame* frame, const uint8_t** bytes, size_t* size);
/** What is known about the frame. */
ORQ_API orq_status orq_frame_get_info(const orq_frame* frame, orq_frame_info* info);

/** What came of asking the camera's GPS for a frame's time. */
enum {
  ORQ_GPS_NONE = 0,          /**< the camera has none, or nobody asked */
  ORQ_GPS_FIX = 1,           /**< the frame has GPS time */
  ORQ_GPS_PREDICTED = 2,     /**< its latch was missed: the time of another frame's, carried on by the cadence */
  ORQ_GPS_NO_FIX = 3,        /**< the receiver had no valid time and position */
  ORQ_GPS_NO_LATCH = 4,      /**< the region does not hold both GPS lines */
  ORQ_GPS_MISSED = 5,        /**< a later frame's latch had replaced that of this one */
  ORQ_GPS_UNSETTLED = 6,     /**< lines or readout had just been changed */
  ORQ_GPS_CONTRADICTORY = 7, /**< the times of the two lines do not fit one readout */
  ORQ_GPS_UNCERTAIN = 8,     /**< the computer's time is the more certain one */
  ORQ_GPS_UNREADABLE = 9     /**< the camera did not answer */
};
/** What the GPS says about a frame. */
typedef struct orq_frame_gps {
  uint32_t size;
  int32_t state;      /**< ORQ_GPS_... */
  int32_t satellites; /**< in use; of FIX and PREDICTED, as all below but the lines */
  int32_t start_line; /**< sensor lines at which time is taken */
  int32_t end_line;
  int32_t reserved;      /**< 0 */
  int64_t start_unix_ns; /**< start of the exposure of the first of them, UTC; 0: unknown, as all below */
  int64_t end_unix_ns;   /**< and of the second */
  int64_t row_ns;        /**< from the start of one row to the next */
  double latitude;       /**< degrees, north positive; NaN: unknown, as the next two */
  double longitude;      /**< degrees, east positive */
  double altitude_m;
  double row_us;      /**< as `row_ns`, with its fraction */
  uint64_t predicted; /**< frames of this capture, up to this one, with predicted time */
  uint64_t confirmed; /**< predictions that a later latch has confirmed */
  uint64_t wrong;     /**< predictions that a later latch has proved wrong */
} orq_frame_gps;
/** Whether the computer's clock keeps UTC, as its system knows. */
typedef struct orq_clock_state {
  uint32_t size;
  int32_t synchronised; /**< 1: something (NTP, PTP, a receiver) steers it; 0: nothing does; -1: unknown */
  int64_t max_error_us; /**< how far it may be off then */
} orq_clock_state;
/** The clock that gives frames their time where there is no GPS. */
ORQ_API orq_status orq_clock_get_state(orq_clock_state* state);

/** What the GPS says about the frame. */
ORQ_API orq_status orq_frame_get_gps(const orq_frame* frame, orq_frame_gps* gps);

/** What a frame's pixel values are like, all colours together; 0 to 255, or 0 to 65535 with 16 bits. */
typedef struct orq_statistics {
  uint32_t size;
  uint32_t minimum;
  uint32_t maximum;
  uint32_t reserved; /**< 0 */
  uint64_t values;   /**< pixels; of RGB 24 three for each */
  double mean;
  double median;
  double deviation;        /**< standard deviation */
  double saturated;        /**< share of values that are full, 0 to 1 */
  uint32_t histogram[256]; /**< how many values have these highest eight bits */
} orq_statistics;
/** Walks over the whole frame once. */
ORQ_API orq_status orq_frame_get_statistics(const orq_frame* frame, orq_statistics* statistics);

/** A part of a frame, in its pixels from its top left corner. */
typedef struct orq_area {
  uint32_t size;
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
  int32_t reserved; /**< 0 */
} orq_area;
/** What the stars of a frame are like. */
typedef struct orq_star_summary {
  uint32_t size;
  int32_t stars;     /**< found */
  int32_t listed;    /**< the brightest of them, at most 500 */
  int32_t measured;  /**< of the listed ones, that the medians are of: those that are neither saturated nor cut off
                        by an edge, or all where every one is */
  int32_t saturated; /**< of the listed ones, that hold a full pixel */
  int32_t reserved;  /**< 0 */
  double hfr;        /**< median half-flux radius, pixels: of the circle that holds half of a star's light; NaN: no
                        star was measured */
  double fwhm;       /**< median width at half of the height, pixels; NaN likewise */
  double arcsec_per_pixel; /**< by the focal length that the frame's header states (FOCALLEN); NaN: unknown */
  double background;       /**< pixel value between the stars */
  double noise;            /**< its standard deviation */
} orq_star_summary;
/** A star. Lengths in pixels of the frame; the centre of its top left pixel is (0, 0). */
typedef struct orq_star {
  uint32_t size;
  int32_t saturated; /**< 1: it holds a full pixel */
  int32_t cut_off;   /**< 1: an edge cuts it */
  int32_t reserved;  /**< 0 */
  double x;
  double y;
  double flux; /**< sum of the pixel values above the background */
  double peak; /**< of its brightest pixel, above the background */
  double hfr;  /**< half-flux radius */
  double fwhm; /**< width at half of the height */
} orq_star;
typedef struct orq_star_list orq_star_list;
/** Finds and measures the stars in `area` of a frame, null for all of it; hot pixels are none. Green counts of
 * colours; of a Bayer mosaic, its gaps are filled from their neighbours, which widens stars by a few hundredths.
 * INVALID: an area that is not within the frame. Takes about a second for ten megapixels. */
ORQ_API orq_status orq_frame_find_stars(const orq_frame* frame, const orq_area* area, orq_star_list** stars);
/** What the stars of the list are like together. */
ORQ_API orq_status orq_star_list_get_summary(const orq_star_list* stars, orq_star_summary* summary);
/** The `index`-th star, from 0, the brightest first. RANGE: fewer are listed. */
ORQ_API orq_status orq_star_list_get(const orq_star_list* stars, int32_t index, orq_star* star);
/** Null does nothing. */
ORQ_API void orq_star_list_release(orq_star_list* stars);

/** How pixel values become the eight bits of a picture. */
enum {
  ORQ_STRETCH_AUTOMATIC = 0, /**< faint things can be seen: each colour of the whole frame by itself, its median on
                                a quarter of full scale */
  ORQ_STRETCH_NONE = 1       /**< their highest eight bits */
};
/** What a picture for looking at is to be like. */
typedef struct orq_preview_options {
  uint32_t size;
  int32_t max_width; /**< pixels; 0: the frame's. The picture keeps the frame's proportions and is never larger */
  int32_t max_height;
  int32_t stretch; /**< ORQ_STRETCH_... */
} orq_preview_options;
/** A picture: rows top down, without gaps. */
typedef struct orq_picture {
  uint32_t size;
  int32_t width; /**< pixels */
  int32_t height;
  int32_t channels; /**< bytes a pixel. 1: grey; 3: red, green, blue */
} orq_picture;
/** Makes a picture for looking at, in colour where the frame has colours, in the `capacity` bytes at `pixels`.
 * With null and 0 for these it only tells of the picture; its pixels take width * height * channels bytes.
 * `options` may be null: all zero. INVALID: `capacity` is too small. Walks over the whole frame. */
ORQ_API orq_status orq_frame_preview(const orq_frame* frame, const orq_preview_options* options, uint8_t* pixels,
                                     size_t capacity, orq_picture* picture);

/** What kind of value a card has. */
enum { ORQ_CARD_LOGICAL = 0, ORQ_CARD_INTEGER = 1, ORQ_CARD_REAL = 2, ORQ_CARD_TEXT = 3 };
/** One line of a FITS header. */
typedef struct orq_card {
  uint32_t size;
  int32_t type;     /**< ORQ_CARD_... */
  int64_t integer;  /**< of logicals (0, 1) and integers */
  double real;      /**< of reals */
  char name[16];    /**< "EXPTIME"; "HISTORY" may come several times */
  char text[160];   /**< the value as text, of every type */
  char comment[80]; /**< may be empty; a unit stands in front in brackets */
} orq_card;
/** The cards that describe the frame, the user's own last; what belongs to one file only (its structure, the date
 * of writing) is not among them. */
ORQ_API orq_status orq_frame_header_count(const orq_frame* frame, int32_t* count);
/** The `index`-th card, from 0. RANGE: there are fewer. */
ORQ_API orq_status orq_frame_header_card(const orq_frame* frame, int32_t index, orq_card* card);

/** How a frame is written to a file. */
typedef struct orq_save_options {
  uint32_t size;
  int32_t overwrite; /**< 1: an existing file is replaced; 0: it is kept, and saving fails */
  int32_t preview;   /**< 1: a PNG for looking at is written beside it */
  int32_t fast;      /**< 1: does not wait until the disk has it: a power cut may lose it */
  uint64_t number;   /**< of the frame in its run, for {n} and FRAMENO; 0: as orq_frame_info.number */
} orq_save_options;
/** Writes the frame to a file that is either whole or not there. `path` ends in .fits (or .fit), .fits.fz
 * (compressed without loss by rows, which readers of FITS take like the other), .png (a picture
 * for looking at) or .raw (the pixels alone, and a description beside them). It may hold {camera}, {serial},
 * {object}, {type}, {date}, {time}, {n:04}, {exposure}, {gain}, {offset}, {bin} and {format}; a brace itself is
 * doubled. `options` may be null: all zero. FILE: it cannot be written, or is there already. */
ORQ_API orq_status orq_frame_save(const orq_frame* frame, const char* path, const orq_save_options* options);

/** What was written of a frame. */
typedef struct orq_saved_files {
  uint32_t size;
  uint32_t reserved;  /**< 0 */
  char file[4096];    /**< its name, with all placeholders filled in */
  char preview[4096]; /**< the picture beside it; empty: none */
  char sidecar[4096]; /**< the description beside bare pixels; empty: none */
  char trouble[512];  /**< why there is no preview although one was wanted; empty: nothing is wrong */
  char warning[160];  /**< what is wrong with the frame, as its file says: a dark or bias whose noise is cut off */
} orq_saved_files;
/** orq_frame_save that tells what it has written. Where only the preview could not be written this succeeds, and
 * says so in `trouble`. */
ORQ_API orq_status orq_frame_save_files(const orq_frame* frame, const char* path, const orq_save_options* options,
                                        orq_saved_files* saved);
/** Whether frames 1 to `count` like those that are taken now could be saved so: better to know before the night
 * than after it. FILE otherwise; names that hold the time cannot be looked for. */
ORQ_API orq_status orq_save_check(orq_camera* camera, const char* path, const orq_save_options* options,
                                  uint64_t count);

/** One more holder. A frame lives until its last holder releases it, also beyond its camera; its memory then goes
 * to the next frame. */
ORQ_API orq_status orq_frame_retain(orq_frame* frame);
/** One holder less. Null does nothing. */
ORQ_API void orq_frame_release(orq_frame* frame);

/* ---- Recordings ---- */

/** A video that is written to a file, frame by frame. */
typedef struct orq_recording orq_recording;

/** What a recording is made of. */
enum {
  ORQ_RECORDING_BY_NAME = 0, /**< by the name: .ser, .fits or .fit (a cube), or a slash at its end (a folder) */
  ORQ_RECORDING_SER = 1,     /**< a SER file, version 3 */
  ORQ_RECORDING_CUBE = 2,    /**< a FITS file, the frames one after the other along its last axis */
  ORQ_RECORDING_FOLDER = 3   /**< a folder of FITS files, one for each frame: 000001.fits and so on */
};

/** How a video is recorded. It ends with the first limit that is reached; 0: there is no such limit. */
typedef struct orq_recording_options {
  uint32_t size;
  int32_t overwrite; /**< 1: existing files are replaced; 0: they are kept, and recording fails */
  uint64_t frames;
  uint64_t duration_us; /**< from the first frame on */
  uint64_t bytes;       /**< the file gets no larger */
  uint32_t ring_mb;     /**< memory for frames that wait for the disk; 0: 256. At least two frames */
  int32_t form;         /**< ORQ_RECORDING_BY_NAME, _SER, _CUBE or _FOLDER */
} orq_recording_options;

/** What a recording would be like as the camera is set now. */
typedef struct orq_recording_plan {
  uint32_t size;
  int32_t width; /**< pixels */
  int32_t height;
  int32_t bin;
  int32_t format; /**< ORQ_FORMAT_... */
  int32_t form;   /**< ORQ_RECORDING_SER, _CUBE or _FOLDER */
  uint64_t frame_bytes;
  uint64_t ring_frames;  /**< that can wait for the disk */
  uint64_t free_bytes;   /**< of the disk */
  uint64_t free_frames;  /**< that fit there */
  char file[4096];       /**< its name, with all placeholders filled in */
  char times_file[4096]; /**< the text beside it */
} orq_recording_plan;

/** Why a recording has ended. */
enum {
  ORQ_RECORDING_RUNS = 0,
  ORQ_RECORDING_FRAMES = 1, /**< a limit was reached */
  ORQ_RECORDING_TIME = 2,   /**< likewise */
  ORQ_RECORDING_SIZE = 3,   /**< likewise */
  ORQ_RECORDING_STOPPED = 4,
  ORQ_RECORDING_VIDEO_ENDED = 5,
  ORQ_RECORDING_LOST = 6,      /**< the camera is gone */
  ORQ_RECORDING_CHANGED = 7,   /**< frames of another size, format or colour pattern came */
  ORQ_RECORDING_DISK_FULL = 8, /**< or the file may not grow any more */
  ORQ_RECORDING_FAILED = 9     /**< the file cannot be written */
};
/** How far a recording is. */
typedef struct orq_recording_state {
  uint32_t size;
  int32_t end;           /**< ORQ_RECORDING_...; its file is finished unless it is ORQ_RECORDING_RUNS */
  uint64_t frames;       /**< in the file */
  uint64_t missed;       /**< frames that were left out because the disk was too slow */
  uint64_t lost;         /**< frames that did not come from the camera */
  uint64_t waiting;      /**< frames that wait for the disk */
  uint64_t bytes;        /**< of the finished file, if it ended now */
  uint64_t free_bytes;   /**< of the disk */
  double seconds;        /**< since the first frame was there */
  int64_t first_unix_ns; /**< time of the first frame, as in orq_frame_info; 0: there is none yet */
  int64_t last_unix_ns;
  int32_t direct;    /**< 1: it is written past the system's cache; 0: the file system does not offer that */
  int32_t reserved;  /**< 0 */
  char trouble[512]; /**< of an end that nobody wanted: why; empty: nothing is wrong */
} orq_recording_state;

/** What a recording would be like, and whether it could be made: better to know before than after. `options` may
 * be null: all zero. INVALID: no such name; FILE: there is such a file, or none can be written there. */
ORQ_API orq_status orq_recording_plan_get(orq_camera* camera, const char* path,
                                          const orq_recording_options* options, orq_recording_plan* plan);
/** Records every frame of the camera from the next one on, beside all other readers, into a SER file, a FITS cube
 * or a folder of FITS files: `path` says which, unless the options do, and may hold the placeholders of
 * orq_frame_save but for {n}. A text beside it, its name and ".txt", tells the time of every frame, where it comes
 * from, how uncertain it is, and which frames are missing. The video may be started before or after this; the
 * recording ends with it. Frames wait for the disk in a ring, which adds to the camera's frame memory; those that
 * find it full are counted and named. A SER file announces no frame before it is finished, a cube those that are
 * in it; one that was cut off is mended by orq_ser_repair. A folder is made when there is none; its files are
 * whole, or not there. `options` may be null: all zero. Errors as of orq_recording_plan_get. */
ORQ_API orq_status orq_recording_start(orq_camera* camera, const char* path, const orq_recording_options* options,
                                       orq_recording** recording);
/** Ends it with the frames that have come by now. Returns at once: those that wait for the disk are still written,
 * see orq_recording_wait. */
ORQ_API orq_status orq_recording_stop(orq_recording* recording);
/** Waits until it has ended and its file is finished. TIMEOUT after `timeout_ms` (ORQ_FOREVER: never). */
ORQ_API orq_status orq_recording_wait(orq_recording* recording, int32_t timeout_ms);
/** How far it is. Also when it has ended, and of a camera that is closed. */
ORQ_API orq_status orq_recording_get_state(orq_recording* recording, orq_recording_state* state);

/** Why frames are missing. */
enum {
  ORQ_MISSING_DISK = 0,   /**< the disk was too slow */
  ORQ_MISSING_CAMERA = 1, /**< they did not come from the camera */
  ORQ_MISSING_MOVED = 2   /**< the region was moved, which begins the stream anew */
};
/** Frames in a row that a recording lacks, by the camera's count, in which its first frame has number 1. */
typedef struct orq_missing_frames {
  uint32_t size;
  int32_t cause; /**< ORQ_MISSING_... */
  uint64_t first;
  uint64_t last;
} orq_missing_frames;
/** The `index`-th gap of a recording, from 0. NOT_FOUND: it has no more by now. */
ORQ_API orq_status orq_recording_get_missing(orq_recording* recording, uint64_t index,
                                             orq_missing_frames* missing);
/** Stops it if it runs, waits until its file is finished, and gives the handle up. Null does nothing. */
ORQ_API void orq_recording_release(orq_recording* recording);

/** A SER file or a FITS cube: what its header says, and what it holds. */
typedef struct orq_ser_info {
  uint32_t size;
  int32_t colour;      /**< colour id as the format has it: 0 mono, 8 to 11 Bayer, 100 RGB, 101 BGR */
  char colour_name[8]; /**< "mono", "RGGB" and so on */
  int32_t width;       /**< pixels */
  int32_t height;
  int32_t depth;         /**< bits of a sample */
  int32_t header_frames; /**< that the header announces; 0: the recording was not finished */
  uint64_t frames;       /**< of these, that are there */
  uint64_t whole_frames; /**< of a recording that was not finished: what orq_ser_repair makes of it */
  uint64_t frame_bytes;
  uint64_t bytes;        /**< of the file */
  uint64_t stamps;       /**< time stamps */
  uint64_t unstamped;    /**< of them, that are no time */
  uint64_t backwards;    /**< of them, that are earlier than the one before */
  uint64_t differing;    /**< of them, that are not what the text beside the file says */
  int64_t first_unix_ns; /**< time stamps of the first frame and the last one; 0: none */
  int64_t last_unix_ns;
  int64_t header_unix_ns; /**< UTC of the header; 0: none */
  int32_t described;      /**< 1: the text of a recording is beside it */
  int32_t whole;          /**< 1: nothing is wrong; 0: see `trouble` */
  char observer[44];
  char instrument[44];
  char telescope[44];
  char trouble[512]; /**< what is wrong with it, one line; empty: nothing */
  int32_t reserved;  /**< 0 */
} orq_ser_info;
/** Looks at a SER file of any program, or a FITS cube; reads header and times. FILE: not to be read, or none. */
ORQ_API orq_status orq_ser_get_info(const char* path, orq_ser_info* info);
/** What a repair has come to. */
typedef struct orq_ser_repaired {
  uint32_t size;
  int32_t changed; /**< 0: the file was whole */
  uint64_t frames;
  uint64_t timed; /**< of them, whose time is known */
} orq_ser_repaired;
/** Makes a SER file, or a recording's FITS cube, whole that was cut off: with every whole frame that it has, and
 * the times that the text beside it or its own trailer tell. Frames whose time nobody has told have none. FILE:
 * not one frame is whole, or the file cannot be written. */
ORQ_API orq_status orq_ser_repair(const char* path, orq_ser_repaired* repaired);
/** Writes frame `frame`, from 1, of a SER file or cube to `to`, as orq_frame_save does: .fits, .fit, .fits.fz or
 * .png; {n} is the frame's number. `options` may be null: all zero. RANGE: there is no such frame. */
ORQ_API orq_status orq_ser_extract(const char* path, uint64_t frame, const char* to,
                                   const orq_save_options* options, orq_path* written);

/** A bright disc in a frame, a planet. */
typedef struct orq_disc {
  uint32_t size;
  uint32_t reserved; /**< 0 */
  double x;          /**< centre, pixels of the frame from its top left corner */
  double y;
  double diameter; /**< pixels */
} orq_disc;
/** Looks for the brightest disc of a frame. NOT_FOUND: there is nothing but noise. Walks over the whole frame. */
ORQ_API orq_status orq_frame_get_disc(const orq_frame* frame, orq_disc* disc);

/* ---- Events ---- */

enum {
  ORQ_EVENT_FRAME = 1,    /**< the default reader holds a frame that was not told of yet */
  ORQ_EVENT_LOST = 2,     /**< the camera is gone */
  ORQ_EVENT_RETURNED = 3, /**< the camera that was lost is there again: reopen it (with `resume` it is open) */
  ORQ_EVENT_EXPOSURE_FAILED = 4, /**< an exposure or a video ended by itself: the text says why */
  ORQ_EVENT_COOLER = 5,          /**< the cooler cannot keep its target, or can again (an empty text) */
  ORQ_EVENT_GPS_LOST = 6,        /**< frames have the computer's time instead of GPS time */
  ORQ_EVENT_GPS_BACK = 7,
  ORQ_EVENT_SETTINGS = 8, /**< kept settings could not be read when the camera was opened, or kept as they were */
  ORQ_EVENT_UNCORRECTED = 9 /**< a correction that the settings have on is not made: the text says why */
};
/** Something that has happened to a camera. */
typedef struct orq_event {
  uint32_t size;
  int32_t kind;   /**< ORQ_EVENT_... */
  char text[256]; /**< one line for a user; may be empty */
} orq_event;
/** A descriptor for poll(), select() and event loops: readable while orq_event_next has an event, so that a loop
 * which takes all events sleeps until there is another, also while the camera is lost. A frame is one event, which
 * is gone when the frame is fetched. It is the library's: do not read or close it. It stays valid until the camera
 * is released. */
ORQ_API orq_status orq_camera_event_fd(orq_camera* camera, int32_t* fd);
/** The next event; NOT_FOUND when there is none. Events of one kind that nobody fetched are one event, the latest.
 * Also of a closed camera. */
ORQ_API orq_status orq_event_next(orq_camera* camera, orq_event* event);

#ifdef __cplusplus
}
#endif
#endif
