#include "core/sysconf.h"

#include "common/util.h"
#include "core/daemon.h"

namespace ptz {

int read_system_variable(Daemon& d, const char* path) { return read_number_from_file(d.os, path); }

void read_system_variables(Daemon& d) {
    SysVars& sv = d.sv;
    sv.video_ch_cnt = read_system_variable(d, "/proc/orv_sys_vars/video_ch_cnt");
    sv.coc_type = read_system_variable(d, "/proc/orv_sys_vars/coc_type");
    sv.rs485_type = read_system_variable(d, "/proc/orv_sys_vars/rs485_type");
    sv.model = read_system_variable(d, "/proc/orv_sys_vars/model");
    d.log("system_variable_set_model() : model = %d\n", sv.model);
    sv.support_ravel_oem = read_system_variable(d, "/proc/orv_con_vars/support_ravel_oem");
    sv.support_tosk_oem = read_system_variable(d, "/proc/orv_con_vars/support_tosk_oem");
    // The status word whose bit 0x200 selects face-detect coax mode is not
    // published on this platform; it reads as 0.
    const int status_word = 0;
    sv.face_detect = (status_word & 0x200) ? 1 : 0;
    d.log("PTZSVR : __model = %d, __max_coc_channels = %d, __coc_type = %d\n", sv.model, sv.video_ch_cnt,
          sv.coc_type);
}

int ptzsvr_load_conf(Daemon& d) {
    d.log("ptzsvr_load_conf()\n");
    ConfLoadArg arg{d.conf.a(), d.conf.b()};
    if (d.conf_loaded) {
        d.os.ioctl_ptr(d.con2rec_fd, req::conf_load, &arg);
        return 0;
    }
    d.os.ioctl_ptr(d.con2rec_fd, req::conf_load, &arg);
    // The recorder core publishes the camera configuration when it is ready;
    // nothing can be served before that.
    while (d.conf.valid_word() != kConfValid) {
        d.os.usleep(5000000);
        d.os.ioctl_ptr(d.con2rec_fd, req::conf_load, &arg);
    }
    d.conf_loaded = true;
    return 0;
}

}  // namespace ptz
