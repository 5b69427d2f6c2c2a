#tag Module
Protected Module Display
	#tag Method, Flags = &h1
		Protected Function Progress(unused As Ptr, arguments As Ptr) As Ptr
		  #Pragma X86CallingConvention CDecl
		  ' A function that Python calls takes two pointers and gives one back. The first is always Nil. The
		  ' second is the tuple of arguments, which PythonParameters opens.
		  Try
		    Var values As New PythonParameters(arguments)
		    Var done As Integer = values.IntegerValue(0)
		    Var total As Integer = values.IntegerValue(1)

		    ' LastError tells of a missing or wrong argument. Nil back to Python means an error there, which
		    ' has to be set first.
		    If values.LastError <> Quillix.PY_NO_ERROR Or total <= 0 Then
		      Quillix.SetError(PythonErrorTypes.TypeError, "progress(done, total, text) takes two integers and a text")
		      Return Nil
		    End If

		    Var percent As Integer = done * 100 \ total
		    ShowBar(percent, values.StringValue(2))

		    ' What goes back is the pointer of a PythonResult, which hands Python a reference of its own.
		    Var answer As New PythonResult(percent < CancelAt)
		    Return answer.GetPtr
		  Catch error As RuntimeException
		    Quillix.SetError(PythonErrorTypes.RuntimeError, error.Message)
		    Return Nil
		  End Try
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Sub ShowBar(percent As Integer, message As String)
		  Var bar As String
		  For i As Integer = 1 To 20
		    If i * 5 <= percent Then bar = bar + "#" Else bar = bar + "."
		  Next
		  Print "[" + bar + "] " + percent.ToString + " % " + message
		End Sub
	#tag EndMethod


	#tag Property, Flags = &h1
		Protected CancelAt As Integer = 101
	#tag EndProperty


	#tag ViewBehavior
	#tag EndViewBehavior
End Module
#tag EndModule
