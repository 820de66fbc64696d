# A stand-in for the platform's policy: as much of it as platform/android/vendordiag.te refers to or must not touch, so
# that a policy compiler can read that file. Classes and access vectors are the kernel's; macros have the platform's
# meaning.
class process class file class dir class lnk_file class chr_file class blk_file class capability
class qipcrtr_socket class property_service class sock_file class unix_stream_socket class fd class fifo_file
sid kernel
class process { transition siginh rlimitinh noatsecure sigchld }
class file { ioctl read write create getattr setattr lock append map open unlink link rename execute execute_no_trans entrypoint watch }
class dir { ioctl read write create getattr setattr lock open search add_name remove_name unlink rename reparent rmdir watch }
class lnk_file { ioctl read getattr lock map open }
class chr_file { ioctl read write getattr lock append map open }
class blk_file { ioctl read write create getattr setattr lock append map open unlink }
class capability { chown dac_override dac_read_search fowner mknod sys_boot sys_module sys_ptrace sys_rawio }
class qipcrtr_socket { create read write getattr setattr lock append bind connect getopt setopt shutdown }
class property_service { set }
class sock_file { write getattr open append }
class unix_stream_socket { connectto }
class fd { use }
class fifo_file { read write getattr }

attribute domain; attribute coredomain; attribute exec_type; attribute file_type; attribute vendor_file_type;
attribute system_file_type; attribute core_data_file_type; attribute sysfs_type; attribute fs_type; attribute dev_type;
attribute property_type; attribute system_property_type;

type kernel, domain, coredomain; type init, domain, coredomain;
type init_exec, file_type, system_file_type;
type diag_device, dev_type; type tee_device, dev_type; type input_device, dev_type; type device, dev_type;
type block_device, dev_type; type property_socket, file_type;
type sysfs, sysfs_type, fs_type; type sysfs_batteryinfo, sysfs_type, fs_type; type sysfs_leds, sysfs_type, fs_type;
type proc, fs_type; type proc_cmdline, fs_type; type proc_bootconfig, fs_type;
type mnt_vendor_file, file_type; type persist_file, file_type;
type vendor_firmware_file, file_type, vendor_file_type; type vendor_configs_file, file_type, vendor_file_type;
type vendor_file, file_type, vendor_file_type; type vendor_shell_exec, file_type, vendor_file_type, exec_type;
type vendor_toolbox_exec, file_type, vendor_file_type, exec_type;
type system_file, file_type, system_file_type; type shell_exec, file_type, system_file_type, exec_type;
type toolbox_exec, file_type, system_file_type, exec_type;
type cache_file, file_type, core_data_file_type; type system_data_file, file_type, core_data_file_type;
type apk_data_file, file_type, core_data_file_type;
type powerctl_prop, property_type, system_property_type; type system_prop, property_type, system_property_type;
type debug_prop, property_type, system_property_type; type default_prop, property_type, system_property_type;
type ctl_start_prop, property_type, system_property_type; type ctl_stop_prop, property_type, system_property_type;
role r; role r types { domain file_type dev_type fs_type property_type };
