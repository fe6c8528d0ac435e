# For GDB in front of `lumoflash gdbserver`. Of a load that failed GDB knows only a fixed sentence. With this script a failed
# `load` lets the server say why, at the next prompt or at the end of a batch run; `lumo-load` does it at once.
#
#   (gdb) source PREFIX/share/lumo-flash/lumoflash.gdb
#   (gdb) load app.elf
define hook-load
python lumo_load.has_begun = True
end

python
import gdb


class LumoLoad(gdb.Command):
    """Load a program through lumoflash, and say why when that fails."""

    def __init__(self):
        super().__init__("lumo-load", gdb.COMMAND_FILES, gdb.COMPLETE_FILENAME)
        self.has_begun = False
        gdb.events.before_prompt.connect(self.tell_why)
        if hasattr(gdb.events, "gdb_exiting"):
            gdb.events.gdb_exiting.connect(self.tell_why)

    def tell_why(self, event=None):
        if self.has_begun:
            self.has_begun = False
            try:
                reason = gdb.execute("monitor why", to_string=True)
            except gdb.error as error:  # such as a lost connection
                reason = "%s\n" % error
            if not reason.startswith("Nothing has failed"):
                gdb.write(reason, gdb.STDERR)

    def invoke(self, argument, from_tty):
        try:
            gdb.execute("load " + argument, from_tty)
        except gdb.error as error:
            gdb.write("%s\n" % error)
            self.tell_why()
            raise gdb.GdbError("Nothing was loaded, or not all of it")


lumo_load = LumoLoad()
end
