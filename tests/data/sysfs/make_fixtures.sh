#!/bin/sh
# Builds the sysfs fixture trees of the inspection and topology tests (run from this folder).
# Each tree has sys/ (the sysfs root) and dev/ (device nodes); the trees are committed.
set -e
attr() { mkdir -p "$(dirname "$1")"; printf '%s\n' "$2" > "$1"; }
pci() { # dir vendor device subvendor subdevice class rev
  attr "$1/vendor" "$2"; attr "$1/device" "$3"; attr "$1/subsystem_vendor" "$4"
  attr "$1/subsystem_device" "$5"; attr "$1/class" "$6"; attr "$1/revision" "$7"; }
link() { mkdir -p "$(dirname "$2")"; ln -sfn "$1" "$2"; }
node() { # dir guid vendor vendor_name model_name is_local
  attr "$1/guid" "$2"; attr "$1/vendor" "$3"; attr "$1/is_local" "$6"
  [ -n "$4" ] && attr "$1/vendor_name" "$4"; [ -n "$5" ] && attr "$1/model_name" "$5"; true; }
unit() { # dir specifier version modalias
  attr "$1/specifier_id" "$2"; attr "$1/version" "$3"; attr "$1/modalias" "$4"; }
modules() { for m in firewire_core firewire_ohci; do attr "$1/sys/module/$m/initstate" live; done; }
fwlinks() { # tree pcidev names...
  t=$1; p=$2; shift 2
  for n in "$@"; do
    case $n in *.*) sub="${n%%.*}/$n" ;; *) sub=$n ;; esac
    link "../../../$p/$sub" "$t/sys/bus/firewire/devices/$n"
  done; }

rm -rf ti-bridge-two-cameras unknown-adapter unreadable-node other-driver empty-bus no-firewire

# A TI TSB43AB22A behind a PCI bridge with two cameras; only the first camera's node is open to us.
t=ti-bridge-two-cameras
bridge=devices/pci0000:00/0000:00:1e.0
ad=$bridge/0000:05:00.0
pci $t/sys/$bridge 0x8086 0x244e 0x0000 0x0000 0x060401 0xd5
pci $t/sys/$ad 0x104c 0x8023 0x104c 0x8010 0x0c0010 0x00
mkdir -p $t/sys/bus/pci/drivers/firewire_ohci
link ../../../../bus/pci/drivers/firewire_ohci $t/sys/$ad/driver
link ../../../$bridge $t/sys/bus/pci/devices/0000:00:1e.0
link ../../../$ad $t/sys/bus/pci/devices/0000:05:00.0
node $t/sys/$ad/fw0 0x0011066600001234 0x001106 "Linux Firewire" "Juju" 1
node $t/sys/$ad/fw1 0x00b09d0100a1b2c3 0x00b09d "Point Grey Research" "Flea2 FL2-08S2C" 0
unit $t/sys/$ad/fw1/fw1.0 0x00a02d 0x000102 ieee1394:ven0000B09Dmo00000000sp0000A02Dver00000102
node $t/sys/$ad/fw2 0x0030530000112233 0x003053 "Basler" "A602f" 0
unit $t/sys/$ad/fw2/fw2.0 0x00a02d 0x000101 ieee1394:ven00003053mo00000000sp0000A02Dver00000101
fwlinks $t $ad fw0 fw1 fw1.0 fw2 fw2.0
modules $t
mkdir -p $t/dev && : > $t/dev/fw1

# An adapter that no table row knows, straight on the root bus, with no camera.
t=unknown-adapter
ad=devices/pci0000:00/0000:00:0a.0
pci $t/sys/$ad 0x1234 0xabcd 0x1234 0x0001 0x0c0010 0x02
link ../../../$ad $t/sys/bus/pci/devices/0000:00:0a.0
node $t/sys/$ad/fw0 0x1234000000000001 0x001234 "" "" 1
fwlinks $t $ad fw0
modules $t

# Two cameras; the second one's specifier_id cannot be read (it is a folder).
t=unreadable-node
ad=devices/pci0000:00/0000:00:0b.0
pci $t/sys/$ad 0x11c1 0x5811 0x11c1 0x5811 0x0c0010 0x61
link ../../../$ad $t/sys/bus/pci/devices/0000:00:0b.0
node $t/sys/$ad/fw1 0x00b09d0100000001 0x00b09d "Point Grey Research" "Dragonfly" 0
unit $t/sys/$ad/fw1/fw1.0 0x00a02d 0x000100 ieee1394:ven0000B09Dmo00000000sp0000A02Dver00000100
node $t/sys/$ad/fw2 0x00b09d0100000002 0x00b09d "Point Grey Research" "Dragonfly" 0
mkdir -p $t/sys/$ad/fw2/fw2.0/specifier_id && echo "a folder where the attribute belongs" > $t/sys/$ad/fw2/fw2.0/specifier_id/README
attr $t/sys/$ad/fw2/fw2.0/version 0x000100
fwlinks $t $ad fw1 fw1.0 fw2 fw2.0
modules $t
mkdir -p $t/dev && : > $t/dev/fw1 && : > $t/dev/fw2

# A camera unit claimed by a kernel driver whose name is in capitals, a camera without
# names, and a storage unit (SBP-2) that is no camera.
t=other-driver
ad=devices/pci0000:00/0000:00:0c.0
pci $t/sys/$ad 0x1106 0x3044 0x1106 0x3044 0x0c0010 0xc0
link ../../../$ad $t/sys/bus/pci/devices/0000:00:0c.0
mkdir -p $t/sys/bus/firewire/drivers/QRVDCAM $t/sys/bus/firewire/drivers/firewire_sbp2
node $t/sys/$ad/fw1 0x00a0b90000000001 0x00a0b9 "Qorvel" "QV-1" 0
unit $t/sys/$ad/fw1/fw1.0 0x00a02d 0x000102 ieee1394:ven0000A0B9mo00000000sp0000A02Dver00000102
link ../../../../../bus/firewire/drivers/QRVDCAM $t/sys/$ad/fw1/fw1.0/driver
node $t/sys/$ad/fw2 0x00a0b90000000002 0x00a0b9 "" "" 0
unit $t/sys/$ad/fw2/fw2.0 0x00a02d 0x000102 ieee1394:ven0000A0B9mo00000000sp0000A02Dver00000102
node $t/sys/$ad/fw3 0x0050c50000000003 0x0050c5 "Maxtor" "OneTouch" 0
unit $t/sys/$ad/fw3/fw3.0 0x00609e 0x010483 ieee1394:ven000050C5mo00000000sp0000609Ever00010483
link ../../../../../bus/firewire/drivers/firewire_sbp2 $t/sys/$ad/fw3/fw3.0/driver
fwlinks $t $ad fw1 fw1.0 fw2 fw2.0 fw3 fw3.0
modules $t
mkdir -p $t/dev && : > $t/dev/fw1 && : > $t/dev/fw2

# The stack is loaded and an adapter is there, but nothing is plugged in.
t=empty-bus
ad=devices/pci0000:00/0000:00:0d.0
pci $t/sys/$ad 0x104c 0x8024 0x104c 0x8024 0x0c0010 0x00
link ../../../$ad $t/sys/bus/pci/devices/0000:00:0d.0
node $t/sys/$ad/fw0 0x0011066600005678 0x001106 "Linux Firewire" "Juju" 1
fwlinks $t $ad fw0
modules $t

# A machine without the firewire stack and without an adapter.
t=no-firewire
mkdir -p $t/sys/bus/pci/devices $t/sys/module
: > $t/sys/bus/pci/devices/.keep
: > $t/sys/module/.keep

# git keeps no empty folder: the driver folders the links point at get a note.
find . -type d -empty -exec sh -c 'echo "a driver folder of the fixture" > "$1/README"' _ {} \;
