package com.ferrolink;

/** The runtimes of the family. */
public enum RuntimeId {

    /** .NET Framework. */
    CLR(0, "Clr"),
    /** Go. */
    GO(1, "Go"),
    /** Java; this member of the family. */
    JVM(2, "Jvm"),
    /** .NET, formerly .NET Core. */
    NETCORE(3, "Netcore"),
    /** Perl. */
    PERL(4, "Perl"),
    /** Python 3. */
    PYTHON(5, "Python"),
    /** Ruby. */
    RUBY(6, "Ruby"),
    /** Node.js. */
    NODEJS(7, "Nodejs"),
    /** C++. */
    CPP(8, "Cpp"),
    /** PHP. */
    PHP(9, "Php"),
    /** Python 2. */
    PYTHON2(10, "Python2");

    private final int code;
    private final String displayName;

    RuntimeId(int code, String displayName) {
        this.code = code;
        this.displayName = displayName;
    }

    /**
     * The code of this runtime in commands.
     *
     * @return 0 to 10
     */
    public int code() {
        return code;
    }

    /**
     * The name that the native libraries use in file names and error texts, such as {@code Cpp}.
     *
     * @return letters and digits
     */
    public String displayName() {
        return displayName;
    }
}
