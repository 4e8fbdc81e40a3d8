// Every result number of the library, named once.
//
// Three sets that never mix silently: internal numbers (negated errno values, and `failed`) come
// from device, protocol and cards; API numbers leave the RD_ functions (api/errors.cpp maps the
// first into the second); terminal numbers leave the functions that name a port and live in their
// own namespace.
#pragma once

namespace deskreader::status {

inline constexpr int ok = 0;

// Internal numbers.
inline constexpr int not_permitted = -1;      // EPERM: the device reported an error
inline constexpr int not_found = -2;          // ENOENT: port or device file
inline constexpr int io_error = -5;           // EIO: an exchange that never took place
inline constexpr int busy = -16;              // EBUSY
inline constexpr int no_device = -19;         // ENODEV
inline constexpr int invalid_argument = -22;  // EINVAL
inline constexpr int timed_out = -62;         // ETIME: nothing received, or sent, in time
inline constexpr int bad_message = -74;       // EBADMSG: malformed reply
inline constexpr int failed = -99;            // anything without a number of its own
inline constexpr int cancelled = -125;        // ECANCELED

// API numbers: connection and device.
inline constexpr int open_port_failed = -1000;
inline constexpr int connect_failed = -1001;
inline constexpr int device_in_use = -1002;
inline constexpr int not_connected = -1003;
inline constexpr int read_timed_out = -1004;
inline constexpr int write_timed_out = -1005;
inline constexpr int operation_cancelled = -1006;
inline constexpr int invalid_parameter = -1007;
inline constexpr int not_supported = -1008;
inline constexpr int library_not_loaded = -1009;
inline constexpr int library_call_failed = -1010;
inline constexpr int module_switch_failed = -1011;
inline constexpr int invalid_init_parameter = -1012;
inline constexpr int bad_communication_data = -1013;
inline constexpr int communication_failed = -1014;

// API numbers: magnetic stripe.
inline constexpr int read_tracks_123_failed = -2000;
inline constexpr int read_track_1_failed = -2001;
inline constexpr int read_track_2_failed = -2002;
inline constexpr int read_track_3_failed = -2003;
inline constexpr int read_tracks_23_failed = -2004;
inline constexpr int track_2_empty = -2005;
inline constexpr int track_3_empty = -2006;
inline constexpr int tracks_23_empty = -2007;
inline constexpr int write_tracks_123_failed = -2100;
inline constexpr int write_track_1_failed = -2101;
inline constexpr int write_track_2_failed = -2102;
inline constexpr int write_track_3_failed = -2103;
inline constexpr int write_tracks_23_failed = -2104;
inline constexpr int no_card_number = -2105;
inline constexpr int read_tracks_12_failed = -2106;
inline constexpr int read_tracks_13_failed = -2107;
inline constexpr int tracks_13_empty = -2108;
inline constexpr int tracks_12_empty = -2109;
inline constexpr int tracks_123_empty = -2110;
inline constexpr int track_1_empty = -2111;

// API numbers: identity cards.
inline constexpr int id_module_unreachable = -3000;
inline constexpr int id_card_not_found = -3001;
inline constexpr int id_read_failed = -3002;
inline constexpr int id_photo_failed = -3003;
inline constexpr int id_baud_failed = -3004;

// API numbers: IC cards and payment flows.
inline constexpr int power_on_failed = -4000;
inline constexpr int power_on_timed_out = -4001;
inline constexpr int power_off_failed = -4002;
inline constexpr int invalid_apdu = -4003;
inline constexpr int card_not_powered = -4004;
inline constexpr int card_absent = -4005;
inline constexpr int apdu_failed = -4006;
inline constexpr int pse_selection_failed = -4100;
inline constexpr int application_list_failed = -4101;
inline constexpr int aid_selection_failed = -4102;
inline constexpr int data_object_list_failed = -4103;
inline constexpr int processing_options_failed = -4104;
inline constexpr int application_data_failed = -4105;
inline constexpr int dynamic_data_object_list_failed = -4106;
inline constexpr int cryptogram_failed = -4107;
inline constexpr int arqc_data_failed = -4108;
inline constexpr int external_authentication_failed = -4109;
inline constexpr int script_failed = -4110;

// The same, without texts of their own.
inline constexpr int cdol2_missing = -4111;
inline constexpr int approval_refused = -4114;
inline constexpr int transaction_declined = -4115;
inline constexpr int log_entry_missing = -4117;

// API numbers: MIFARE Classic commands that the reader answered with a failure. None of them has a
// text.
inline constexpr int m1_power_on_failed = -5001;
inline constexpr int m1_power_off_failed = -5002;
inline constexpr int m1_verify_failed = -5003;
inline constexpr int m1_read_block_failed = -5004;
inline constexpr int m1_write_block_failed = -5005;
inline constexpr int m1_read_value_failed = -5006;
inline constexpr int m1_write_value_failed = -5007;
inline constexpr int m1_increment_failed = -5008;
inline constexpr int m1_decrement_failed = -5009;

// API numbers: MIFARE Classic arguments.
inline constexpr int invalid_block = -5010;
inline constexpr int invalid_sector = -5011;
inline constexpr int data_not_16_bytes = -5012;
inline constexpr int data_not_4_bytes = -5013;
inline constexpr int key_not_6_bytes = -5014;
inline constexpr int invalid_key_type = -5015;
inline constexpr int invalid_value = -5016;  // without a text of its own

// API numbers: Ultralight cards. None of them has a text.
inline constexpr int key_not_written = -5105;
inline constexpr int invalid_page = -5106;

}  // namespace deskreader::status
