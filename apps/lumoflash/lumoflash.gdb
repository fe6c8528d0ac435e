# For GDB in front of `lumoflash gdbserver`. Of a load that failed GDB knows only a fixed sentence; `lumo-load` lets the
# server say why.
#
#   (gdb) source PREFIX/share/lumo-flash/lumoflash.gdb
#   (gdb) lumo-load app.elf
python
import gdb


class LumoLoad(gdb.Command):
    """Load a program through lumoflash, and say why when that fails."""

    def __init__(self):
        super().__init__("lumo-load", gdb.COMMAND_FILES, gdb.COMPLETE_FILENAME)

    def invoke(self, argument, from_tty):
        try:
            gdb.execute("load " + argument, from_tty)
        except gdb.error as error:
            gdb.write("%s\n" % error)
            gdb.execute("monitor why", from_tty)
            raise gdb.GdbError("Nothing was loaded, or not all of it")


LumoLoad()
end
