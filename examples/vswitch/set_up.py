# set_up.py
import vswitch
plan = vswitch.Host().plan("""
format: 1
switches:
  production:
    mtu: 9000
    uplinks: [nic4, nic5]
    teaming: {active: [nic4], standby: [nic5], load_balance: fo-explicit}
    ports:
      web-1: {connect_id: 101, vlan: 10}
      database: {connect_id: 201, vlan: 20}
""")
print(plan.diff() or "nothing to do")
plan.apply()
