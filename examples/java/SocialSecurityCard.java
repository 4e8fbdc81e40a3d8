// Prints the elements of a social security card, by JNA (Debian: libjna-java).
//
//   java -cp /usr/share/java/jna.jar SocialSecurityCard.java /dev/ttyS0
//
// The library is found where the loader looks; -Djna.library.path=DIRECTORY names another place.

import com.sun.jna.Library;
import com.sun.jna.Native;
import com.sun.jna.ptr.IntByReference;
import java.nio.charset.StandardCharsets;

public class SocialSecurityCard {
    // The functions in use, as deskreader.h declares them: char* is byte[], int* is IntByReference.
    interface Functions extends Library {
        int GSetComName(int index, String name);
        int RD_Open(int port, int baud, int bpPort);
        int RD_Close();
        int RD_SSCReadInfo(int slot, byte[] out, int timeout);
        int RD_IcPowerOff(int slot);
        int RD_GetErrInfo(int number, int size, byte[] text, IntByReference length);
    }

    static class ReaderException extends Exception {
        ReaderException(String call, int number) {
            super(call + ": " + number + " " + message(number));
        }
    }

    // An open reader: try (var reader = new Reader("/dev/ttyS0")) { ... }
    static class Reader implements AutoCloseable {
        Reader(String device) throws ReaderException {
            library.GSetComName(MY_PORT, device);
            check("RD_Open", library.RD_Open(MY_PORT, BAUD, 0));
        }

        String[] socialSecurityCard() throws ReaderException {
            byte[] text = new byte[1301];
            check("RD_SSCReadInfo", library.RD_SSCReadInfo(ANY_SLOT, text, WAIT_S));
            library.RD_IcPowerOff(ANY_SLOT);
            return Native.toString(text, StandardCharsets.UTF_8.name()).split("\\|", -1);
        }

        @Override
        public void close() {
            library.RD_Close();
        }
    }

    static final int MY_PORT = 15, BAUD = 9600, ANY_SLOT = 2, WAIT_S = 10;

    static final String[] ELEMENTS = {
        "identification code", "type", "version", "organisation", "issued", "valid until", "card number",
        "number", "name", "sex", "nationality", "place of birth", "birth",
    };

    static final Functions library = Native.load("libdeskreader.so.2", Functions.class);

    static void check(String call, int number) throws ReaderException {
        if (number != 0) throw new ReaderException(call, number);
    }

    static String message(int number) {
        byte[] text = new byte[56];
        library.RD_GetErrInfo(number, text.length, text, new IntByReference());
        return Native.toString(text, StandardCharsets.UTF_8.name());
    }

    public static void main(String[] arguments) {
        if (arguments.length != 1) {
            System.err.println("usage: SocialSecurityCard DEVICE");
            System.exit(2);
        }
        try (var reader = new Reader(arguments[0])) {
            String[] values = reader.socialSecurityCard();
            for (int i = 0; i < ELEMENTS.length; ++i)
                System.out.printf("%-20s %s%n", ELEMENTS[i], values[i]);
        } catch (ReaderException error) {
            System.err.println(error.getMessage());
            System.exit(1);
        }
    }
}
