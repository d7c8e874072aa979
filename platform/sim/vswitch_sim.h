/*
 * Frames through simulated hosts: libvswitchsim.so, for C99 and C++.
 *
 * Frames that a program hands to a host take the way that its configuration says, and change its tables and counters;
 * what comes out is handed back. Hosts are the simulated ones of libvswitch.so, libdvs.so and libtlklibs.so: several
 * can live in one process, and the calls of these libraries go to the one in use.
 *
 * Every function that returns an int returns a vssim_status. Where it is not VSSIM_OK, out-arguments are null or 0, the
 * operation has changed nothing, and vssim_error() says why. A frame is never an error: what becomes of it stands in
 * the result. Null where no null is documented is VSSIM_BAD_ARGUMENT.
 *
 *   VSSIM_BAD_ARGUMENT  an argument that cannot be an endpoint, a mode or a number, or JSON that the call does not take
 *   VSSIM_NOT_FOUND     no such switch, port or NIC, or no longer
 *   VSSIM_FAILED        all else: the state file is damaged, the clock runs, a port has no client
 *   VSSIM_BUSY          another process has kept the state file for longer than 10 s
 *   VSSIM_READ_ONLY     the state file cannot be written
 *   VSSIM_NO_SPACE      the disk is full
 *   VSSIM_NO_MEMORY     the process has no memory left
 *
 * Times are microseconds of the host's clock, since the epoch. Frames are bytes from the destination address on,
 * without FCS. Texts are UTF-8. Arguments and results named json are JSON; what is released with vssim_free() says so.
 *
 * A host may be used by several threads: operations on one host come one after the other, those on different hosts run
 * at the same time. After a fork of the process a host in a file is opened anew, and a host in memory is the child's
 * own copy. Results belong to whoever received them, and are not to be released while another thread reads them.
 */
#ifndef VSWITCH_SIM_H
#define VSWITCH_SIM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __GNUC__
#pragma GCC visibility push(default)
#endif

typedef struct vssim_host vssim_host;
typedef struct vssim_result vssim_result;
typedef struct vssim_capture vssim_capture;

/* The client side of a port, or the wire side of a physical NIC. 0 is none. A number is good for the host that gave it
 * until the port or the NIC goes (VSSIM_NOT_FOUND from then on), and all go with vssim_reset(). The same endpoint has
 * the same number. In results there are also numbers of ports of uplinks that have no NIC: places of drops only. */
typedef uint32_t vssim_endpoint;

enum vssim_status {
  VSSIM_OK,
  VSSIM_BAD_ARGUMENT,
  VSSIM_NOT_FOUND,
  VSSIM_FAILED,
  VSSIM_BUSY,
  VSSIM_READ_ONLY,
  VSSIM_NO_SPACE,
  VSSIM_NO_MEMORY
};

/* What a delivery is: the frame itself, a copy for a promiscuous port, a copy of a mirror session, or a frame that the
 * switch made. */
enum vssim_kind { VSSIM_FRAME, VSSIM_PROMISCUOUS, VSSIM_MIRROR, VSSIM_MADE };

/* Where a frame was dropped: on its way into the switch, or out of it to one receiver. */
enum { VSSIM_STAGE_IN = 0, VSSIM_STAGE_OUT = 1 };

/* Flag of vssim_send(): the result has its totals only. */
enum { VSSIM_COUNT_ONLY = 1 };

/* A frame that is sent in. `bytes` may be null where `length` is 0. */
typedef struct {
  vssim_endpoint endpoint;
  uint32_t length;
  void const *bytes;
} vssim_frame;

/* What came out at an endpoint, of the frame with this index; -1 for what was due by the host's clock. */
typedef struct {
  vssim_endpoint endpoint;
  int32_t index;
  uint32_t kind; /* vssim_kind */
  uint32_t length;
  void const *bytes; /* as long as the result; deliveries may share them */
} vssim_delivery;

/* `reason` is a number that vssim_reason_name() knows. */
typedef struct {
  vssim_endpoint place;
  int32_t index;
  uint16_t reason;
  uint16_t stage;
} vssim_drop;

/* A step of an explanation. `rule` is an id that vssim_rule_text() knows, `place` 0 where the step has none. */
typedef struct {
  char const *rule;
  char const *text;
  vssim_endpoint place;
  uint32_t outcome; /* 0 go on, 1 drop, 2 deliver, 3 consume */
} vssim_step;

/* ---- hosts ------------------------------------------------------------------------------------------------------- */

/* Opens the host in a state file, or a new one in memory of its own where `path` is null or ":memory:". Where there is
 * no host yet it boots from the text of a boot description (JSON), or, with null, as the three libraries' first call
 * would. A file that is a host already ignores the description; one that is refused is VSSIM_FAILED, and the text names
 * the place in it. The host belongs to the caller: vssim_close(). */
int vssim_open(char const *path, char const *boot_json, vssim_host **host);

/* The full path of the state file, ":memory:" for hosts in memory. It lives as long as the host. Null on failure. */
char const *vssim_path(vssim_host *host);

/* The host in use, or else the one that the environment names (VSWITCH_HOST). A host that came from this API is the
 * very same pointer; it is closed once more, by vssim_close(). */
int vssim_current(vssim_host **host);

/* A private copy in memory: the whole state, with clock, faults and what runs; without captures, uses, trace and
 * handles of libdvs.so. Neither sees the other from then on. It belongs to the caller. */
int vssim_fork(vssim_host *host, vssim_host **copy);

/* Makes it the host that the three libraries of this process answer for. Uses nest; vssim_unuse() ends the last use of
 * this host, and the one before, in the end the environment's, is in use again. Not in use: VSSIM_FAILED. */
int vssim_use(vssim_host *host);
int vssim_unuse(vssim_host *host);

/* Makes the host anew, from the description that it first booted from. */
int vssim_reset(vssim_host *host);

/* Boots the host: what is volatile goes. */
int vssim_boot(vssim_host *host);

/* Writes the state to a file, which is a state file itself. An existing file: VSSIM_FAILED, unless `force` is not 0. */
int vssim_snapshot(vssim_host *host, char const *path, int force);

/* Gives the host back. It goes at once, or when its last use ends. Null is nothing. */
void vssim_close(vssim_host *host);

/* ---- endpoints --------------------------------------------------------------------------------------------------- */

/* The endpoint of a port, by its identifier and the alias of its switch, and of a physical NIC by its name.
 * VSSIM_NOT_FOUND: "no switch 'x'", "no port 'y' on switch 'x'", "no NIC 'z'". The port of an uplink has a number, too,
 * but no frames are sent to it or captured there (VSSIM_BAD_ARGUMENT): that is its NIC's. */
int vssim_port(vssim_host *host, char const *alias, char const *dvport_id, vssim_endpoint *endpoint);
int vssim_nic(vssim_host *host, char const *name, vssim_endpoint *endpoint);

/* What an endpoint is called, also one that has gone. `alias` is null for a NIC. Both texts live as long as the host.
 * An endpoint that this host never gave: VSSIM_BAD_ARGUMENT. */
int vssim_endpoint_name(vssim_host *host, vssim_endpoint endpoint, char const **alias, char const **name);

/* All client ports with a client by their numbers, then all NICs by name: a list of [alias, dvport id] and names.
 * vssim_free(). */
int vssim_endpoints(vssim_host *host, char **json);

/* ---- frames ------------------------------------------------------------------------------------------------------ */

/* Sends frames in, in their order, in one transaction: all of it counts, or nothing. First everything happens that is
 * due by the clock, also where `count` is 0. At most 65536 frames and 64 MiB, else VSSIM_BAD_ARGUMENT. The bytes are
 * the caller's. `result` may be null. It belongs to the caller: vssim_result_free(). */
int vssim_send(vssim_host *host, vssim_frame const *frames, uint32_t count, uint32_t flags, vssim_result **result);

/* What vssim_send() would do with the frame now, step by step. Nothing changes. The frames of what is due first are
 * left out. */
int vssim_explain(vssim_host *host, vssim_frame const *frame, vssim_result **result);

/* Moves a stopped clock on, 0 to 3.2e15 microseconds, and has happen on the way what is due, each at its time. 0 only
 * has happen what is due. A running clock: VSSIM_FAILED. `result` may be null. */
int vssim_advance(vssim_host *host, int64_t microseconds, vssim_result **result);

/* Sends in the frames of a capture file (pcap or pcapng, Ethernet). With `timing` not 0 a stopped clock goes forward by
 * the differences of their times. The index of a frame is its number in the file. `result` may be null. */
int vssim_replay(vssim_host *host, vssim_endpoint endpoint, char const *path, int timing, vssim_result **result);

/* What is in a result, as arrays that live as long as it: first what was due (index -1), then by index of the frame.
 * Deliveries of a frame come by port number, then copies of mirrors, then frames that the switch made in reply; drops:
 * that on the way in, then those on the way out by port number. Steps are in explanations only. */
vssim_delivery const *vssim_deliveries(vssim_result const *result, uint64_t *count);
vssim_drop const *vssim_drops(vssim_result const *result, uint64_t *count);
vssim_step const *vssim_steps(vssim_result const *result, uint64_t *count);

/* Totals, which count what is not kept, too: 0 frames sent in, 1 deliveries, 2 drops, 3 frames consumed, 4 deliveries
 * that are not kept. A result keeps the first 4194304 deliveries and as many drops. */
uint64_t vssim_total(vssim_result const *result, int what);

/* Null is nothing. */
void vssim_result_free(vssim_result *result);

/* ---- clock ------------------------------------------------------------------------------------------------------- */

/* The host's time, and whether its clock is stopped (1) or runs (0). `stopped` may be null. */
int vssim_now(vssim_host *host, int64_t *microseconds, int *stopped);

/* Stops the clock at a time, at most 9e18; -1: now. Other times are VSSIM_BAD_ARGUMENT. */
int vssim_stop_clock(vssim_host *host, int64_t at);

/* Lets it run with the system's. */
int vssim_run_clock(vssim_host *host);

/* ---- clients, NICs, LACP ----------------------------------------------------------------------------------------- */

/* Connects a client to a port that has none: {"name", "mac", "type"}; `mac` may be null or absent, `type` is "vnic"
 * (default) or "tcpip". A port with a client or of an uplink: VSSIM_FAILED. */
int vssim_connect(vssim_host *host, vssim_endpoint port, char const *client_json);
/* Without a client: VSSIM_FAILED. */
int vssim_disconnect(vssim_host *host, vssim_endpoint port);

/* Changes what runs of a client: any of {"mac", "promiscuous", "link", "groups", "multicast_macs"}; what is absent
 * stays. `mac` null: the assigned address. `groups`: addresses, or {"address", "sources", "mode", "version"}; they take
 * the place of those set before. Without a client: VSSIM_FAILED. */
int vssim_set_client(vssim_host *host, vssim_endpoint port, char const *json);

/* {"name", "type", "assigned_mac", "mac", "promiscuous", "link", "groups", "multicast_macs"}. Without a client:
 * VSSIM_FAILED. vssim_free(). */
int vssim_client(vssim_host *host, vssim_endpoint port, char **json);

/* Any of {"errors", "segment", "link"}: percent of damaged frames, 0 to 100; beacon segment, at most 31 bytes; the
 * carrier, true or false. */
int vssim_set_nic(vssim_host *host, vssim_endpoint nic, char const *json);

/* The scripted LACP partner of a NIC: {"system", "system_priority", "key", "port", "port_priority", "active", "fast",
 * "aggregatable", "on"}, all optional; null takes it away. It is volatile. */
int vssim_set_partner(vssim_host *host, vssim_endpoint nic, char const *json);

/* {"receive", "selected", "up", "actor_state", "partner_state", "partner_system", "partner_key", "sent", "received",
 * "bad", "changes"}. A NIC in no LAG: VSSIM_FAILED. vssim_free(). */
int vssim_lacp(vssim_host *host, vssim_endpoint nic, char **json);

/* ---- what is seen ------------------------------------------------------------------------------------------------ */

/* The fields of qel_HNQPortStatistics and VSPMACLearningStats by name; of a NIC those of its uplink (behind none:
 * VSSIM_FAILED). vssim_free(). */
int vssim_counters(vssim_host *host, vssim_endpoint endpoint, char **json);

/* A list of {"mac", "vlan", "type", "port", "elapsed", "moves", "team"} in the order of VSQEL_GetMACTable(), then of
 * the team's: type "static", "user" or "learned", elapsed in seconds. vssim_free(). */
int vssim_mac_table(vssim_host *host, char const *alias, char **json);

/* Writes what passes an endpoint by operations of this host to a new pcapng file: directions 1 in, 2 out, 3 both; at
 * most `snaplen` bytes of a frame. An existing file: VSSIM_FAILED. The capture belongs to the caller; it ends with the
 * host. */
int vssim_capture_open(vssim_host *host, vssim_endpoint endpoint, char const *path, int directions, uint32_t snaplen,
                       vssim_capture **capture);
/* Releases it in any case; a failure says that the file is not complete. Null is nothing. */
int vssim_capture_close(vssim_capture *capture);
/* How many frames it has written. */
uint64_t vssim_capture_frames(vssim_capture const *capture);

/* ---- faults, trace ----------------------------------------------------------------------------------------------- */

/* A rule that makes calls of the three libraries on this host fail: {"kind", "call", "status", "exception", "message",
 * "milliseconds", "skip", "times", "probability", "seed"}; `number` is the rule's. Calls of this API are met by none.
 */
int vssim_fault(vssim_host *host, char const *json, int64_t *number);
/* Removes a rule; 0: all. No such rule: VSSIM_NOT_FOUND. */
int vssim_clear_fault(vssim_host *host, int64_t number);
/* A list of what vssim_fault() takes, with "number" and "met". vssim_free(). */
int vssim_faults(vssim_host *host, char **json);

/* Calls of this process on this host append a line of JSON each to a file; null: no more. */
int vssim_trace(vssim_host *host, char const *path);

/* ---- texts ------------------------------------------------------------------------------------------------------- */

/* "vlan-tagged"; null for a number that is no reason's. */
char const *vssim_reason_name(unsigned reason);
/* What a rule says, by its id ("V-3"); null for a text that is no rule's. */
char const *vssim_rule_text(char const *rule);
/* The text of this thread's last failure; empty before the first. It lives until the thread's next failure. */
char const *vssim_error(void);
/* Null is nothing. */
void vssim_free(void *memory);

#ifdef __GNUC__
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
