define(`r_file_perms', `{ getattr open read ioctl lock map }')
define(`w_file_perms', `{ open append write lock map }')
define(`rw_file_perms', `{ getattr open read ioctl lock map append write }')
define(`rx_file_perms', `{ getattr open read ioctl lock map execute execute_no_trans }')
define(`create_file_perms', `{ create rename setattr unlink getattr open read ioctl lock map append write }')
define(`r_dir_perms', `{ open getattr read search ioctl lock }')
define(`rw_dir_perms', `{ open getattr read search ioctl lock add_name remove_name write }')
define(`create_dir_perms', `{ create reparent rename rmdir setattr open getattr read search ioctl lock add_name remove_name write }')
define(`create_socket_perms_no_ioctl', `{ create read write getattr setattr lock append bind connect getopt setopt shutdown }')
define(`init_daemon_domain', `
allow init $1_exec:file { getattr open read execute map };
allow init $1:process transition;
allow $1 $1_exec:file { entrypoint getattr open read execute map };
type_transition init $1_exec:process $1;')
define(`set_prop', `
allow $1 property_socket:sock_file write;
allow $1 init:unix_stream_socket connectto;
allow $1 $2:property_service set;
allow $1 $2:file { getattr open read map };')
define(`vendor_internal_prop', `type $1, property_type;')
