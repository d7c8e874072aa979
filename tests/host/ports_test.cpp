// Adding, removing and finding distributed ports.
#include "host_test.hpp"

namespace ports_test {

class Ports : public HostTest {};

TEST_F(Ports, a_port_is_there_until_it_is_removed) {
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("management", "p"));
  EXPECT_EQ(0, DVPortExist("management", "p"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("management", "p", 5));
  EXPECT_STATUS(QEL_OK, DVSQEL_PortFind("management", "p"));
  EXPECT_EQ(1, DVPortExist("management", "p"));
  EXPECT_EQ(0, DVPortExist("workload", "p"));
  EXPECT_STATUS(QEL_EXISTS, VSDVS_AddDVPort("management", "p", 6));
  EXPECT_STATUS(QEL_OK, VSDVS_AddDVPort("workload", "p", 5));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("management", "p"));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_RemoveDVPort("management", "p"));
  EXPECT_EQ(0, DVPortExist("management", "p"));
  EXPECT_EQ(1, DVPortExist("workload", "p"));
}

TEST_F(Ports, numbers_are_unique_and_never_used_twice) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("management", "p", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("workload", "p", 0));
  qel_SwitchPortID const first = port_number("management", "p");
  qel_SwitchPortID const second = port_number("workload", "p");
  EXPECT_NE(0u, first);
  EXPECT_NE(first, second);
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("workload", "p"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("workload", "p", 0));
  EXPECT_GT(port_number("workload", "p"), second);
}

TEST_F(Ports, the_connection_identifier_is_a_property) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("management", "p", 0x01020304));
  char value[8];
  HNQQuery query{sizeof value, value};
  ASSERT_STATUS(QEL_OK, VSDVS_GetPortProp("management", "p", QEL_HNQPROP_PORT_CONNECTID, &query, "", 0));
  ASSERT_EQ(4, query.propLen);
  EXPECT_EQ(0, std::memcmp("\x04\x03\x02\x01", value, 4));
}

TEST_F(Ports, a_switch_has_no_more_ports_than_it_may) {
  ASSERT_STATUS(QEL_OK, create_switch("edge", 3));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "nic3"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "1", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "2", 0));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_AddDVPort("edge", "3", 0));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_AddSwitchUplinkPort("edge", "another"));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("edge", "1"));
  EXPECT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "3", 0));
}

TEST_F(Ports, a_port_with_a_client_stays) {
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveDVPort("workload", "100"));
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveDVPort("workload", "uplink-1"));
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveDVPort("workload", "103"));
  EXPECT_EQ(1, DVPortExist("workload", "100"));
}

TEST_F(Ports, refused_arguments) {
  std::string const long_id(48, 'p');
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_AddDVPort(nullptr, "p", 0));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_AddDVPort("management", nullptr, 0));
  EXPECT_STATUS(QEL_INVALID_NAME, VSDVS_AddDVPort("management", "", 0));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSDVS_AddDVPort("management", long_id.c_str(), 0));
  EXPECT_STATUS(QEL_OK, VSDVS_AddDVPort("management", long_id.c_str() + 1, 0));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_AddDVPort("none", "p", 0));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_RemoveDVPort("none", "1"));
  qel_SwitchPortID number = 9;
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_DvPortIDToPortID("management", "none", &number));
  EXPECT_EQ(0u, number);
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_DvPortIDToPortID("management", "1", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_PortFind("management", nullptr));
  EXPECT_EQ(0, DVPortExist(nullptr, nullptr));
}

}  // namespace ports_test
