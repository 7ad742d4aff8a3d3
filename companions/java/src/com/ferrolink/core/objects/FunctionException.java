package com.ferrolink.core.objects;

/**
 * A function of another runtime, called as the method of a Java interface, failed or returned a result
 * that does not fit. A Java exception that passes through such a function is thrown unchanged instead.
 */
public class FunctionException extends RuntimeException {

    private static final long serialVersionUID = 1L;

    /**
     * For the use of this package.
     *
     * @param text what the function reported
     */
    protected FunctionException(String text) {
        super(text);
    }
}
