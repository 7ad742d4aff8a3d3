package com.ferrolink.core.objects;

/**
 * A function of another runtime that was called as the method of a Java interface failed there, or gave
 * a result that does not fit. What the function passed on from Java is thrown as it was, without this.
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
