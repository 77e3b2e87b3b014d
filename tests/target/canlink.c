/* canlink: the requests on network interfaces that the tests need, without iproute2, which the emulated machine has not.
 *
 *   canlink add IF vcan|vxcan            creates an interface
 *   canlink del IF
 *   canlink set IF BITRATE RESTART_MS    bit rate of a controller and time to its restart after bus-off; IF is down
 *   canlink up|down IF
 *   canlink pace IF RATE LIMIT           lets out RATE frames a second; LIMIT frames wait, one more gets ENOBUFS
 *   canlink unpace IF                    takes that away
 *
 * Exit status 0; 1 with a line on standard error when the kernel refuses; 2 for a request that it does not know. */
#include <errno.h>
#include <linux/can.h>
#include <linux/can/netlink.h>
#include <linux/if_link.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

enum { HANDLE = 0x10000 };

static struct {
  struct nlmsghdr header;
  union {
    struct ifinfomsg link;
    struct tcmsg discipline;
  } body;
  char attributes[1024];
} request;

static void begin(unsigned short type, unsigned short flags, size_t bodySize) {
  request.header.nlmsg_len = NLMSG_LENGTH(bodySize);
  request.header.nlmsg_type = type;
  request.header.nlmsg_flags = (unsigned short)(NLM_F_REQUEST | NLM_F_ACK | flags);
}

/* Appends an attribute. The requests here are far from filling the space for them. */
static struct rtattr *put(unsigned short type, const void *value, size_t size) {
  struct rtattr *attribute = (struct rtattr *)((char *)&request + NLMSG_ALIGN(request.header.nlmsg_len));
  attribute->rta_type = type;
  attribute->rta_len = (unsigned short)RTA_LENGTH(size);
  if (size > 0) {
    memcpy(RTA_DATA(attribute), value, size);
  }
  request.header.nlmsg_len = (unsigned)(NLMSG_ALIGN(request.header.nlmsg_len) + RTA_ALIGN(attribute->rta_len));
  return attribute;
}

/* Ends an attribute that holds those appended since. */
static void end(struct rtattr *attribute) {
  attribute->rta_len = (unsigned short)((char *)&request + NLMSG_ALIGN(request.header.nlmsg_len) - (char *)attribute);
}

/* Sends the request. Returns 0 or a negated errno value. */
static int ask(void) {
  struct {
    struct nlmsghdr header;
    struct nlmsgerr error;
    char rest[4096];
  } answer;
  const int descriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (descriptor < 0) {
    return -errno;
  }
  int result = 0;
  if (send(descriptor, &request, request.header.nlmsg_len, 0) < 0 ||
      recv(descriptor, &answer, sizeof answer, 0) < (ssize_t)NLMSG_LENGTH(sizeof answer.error.error)) {
    result = errno != 0 ? -errno : -EPROTO;
  } else if (answer.header.nlmsg_type == NLMSG_ERROR) {
    result = answer.error.error;
  }
  close(descriptor);
  return result;
}

static int addInterface(const char *name, const char *kind) {
  begin(RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL, sizeof request.body.link);
  put(IFLA_IFNAME, name, strlen(name) + 1);
  struct rtattr *info = put(IFLA_LINKINFO, NULL, 0);
  put(IFLA_INFO_KIND, kind, strlen(kind));
  end(info);
  return ask();
}

static void beginLink(unsigned short type, unsigned index) {
  begin(type, 0, sizeof request.body.link);
  request.body.link.ifi_index = (int)index;
}

static int deleteInterface(unsigned index) {
  beginLink(RTM_DELLINK, index);
  return ask();
}

static int setUp(unsigned index, unsigned flags) {
  beginLink(RTM_NEWLINK, index);
  request.body.link.ifi_change = IFF_UP;
  request.body.link.ifi_flags = flags;
  return ask();
}

static int setBitRate(unsigned index, unsigned bitRate, unsigned restartMs) {
  const struct can_bittiming timing = {.bitrate = bitRate};
  beginLink(RTM_NEWLINK, index);
  struct rtattr *info = put(IFLA_LINKINFO, NULL, 0);
  put(IFLA_INFO_KIND, "can", 3);
  struct rtattr *data = put(IFLA_INFO_DATA, NULL, 0);
  put(IFLA_CAN_BITTIMING, &timing, sizeof timing);
  put(IFLA_CAN_RESTART_MS, &restartMs, sizeof restartMs);
  end(data);
  end(info);
  return ask();
}

static void beginDiscipline(unsigned short type, unsigned short flags, unsigned index) {
  begin(type, flags, sizeof request.body.discipline);
  request.body.discipline.tcm_ifindex = (int)index;
  request.body.discipline.tcm_parent = TC_H_ROOT;
}

static int pace(unsigned index, unsigned rate, unsigned limit) {
  const struct tc_netem_qopt options = {.limit = limit};
  const struct tc_netem_rate pacing = {.rate = rate * (unsigned)sizeof(struct can_frame)};
  beginDiscipline(RTM_NEWQDISC, NLM_F_CREATE | NLM_F_REPLACE, index);
  request.body.discipline.tcm_handle = HANDLE;
  put(TCA_KIND, "netem", sizeof "netem");
  struct rtattr *all = put(TCA_OPTIONS, &options, sizeof options);
  put(TCA_NETEM_RATE, &pacing, sizeof pacing);
  end(all);
  return ask();
}

static int unpace(unsigned index) {
  beginDiscipline(RTM_DELQDISC, 0, index);
  return ask();
}

static unsigned number(const char *text) {
  return (unsigned)strtoul(text, NULL, 10);
}

/* Returns 0, a negated errno value, or 1 for a request that is not known. */
static int perform(int count, char **words) {
  const char *what = words[1];
  if (strcmp(what, "add") == 0 && count == 4) {
    return addInterface(words[2], words[3]);
  }
  const unsigned index = if_nametoindex(words[2]);
  if (index == 0) {
    return -errno;
  }
  if (strcmp(what, "del") == 0 && count == 3) {
    return deleteInterface(index);
  }
  if (strcmp(what, "up") == 0 && count == 3) {
    return setUp(index, IFF_UP);
  }
  if (strcmp(what, "down") == 0 && count == 3) {
    return setUp(index, 0);
  }
  if (strcmp(what, "set") == 0 && count == 5) {
    return setBitRate(index, number(words[3]), number(words[4]));
  }
  if (strcmp(what, "pace") == 0 && count == 5) {
    return pace(index, number(words[3]), number(words[4]));
  }
  if (strcmp(what, "unpace") == 0 && count == 3) {
    return unpace(index);
  }
  return 1;
}

int main(int count, char **words) {
  const int result = count < 3 ? 1 : perform(count, words);
  if (result > 0) {
    fprintf(stderr, "canlink add|del|set|up|down|pace|unpace IF ...\n");
    return 2;
  }
  if (result < 0) {
    fprintf(stderr, "canlink %s %s: %s\n", words[1], words[2], strerror(-result));
    return 1;
  }
  return 0;
}
