# properties.py
import vswitch
host = vswitch.Host()
workload = host.switches["workload"]
workload.properties["org.example.rack"] = "B12"
print(str(workload.properties["org.example.rack"]), workload.properties.effective("VSPROP_MTU").value)
image = host.image(persistent=True)
image.save("vswitch.image")
del workload.properties["org.example.rack"]
host.restore(image, merge=True)
print("org.example.rack" in workload.properties)
